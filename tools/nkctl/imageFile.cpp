#include "tools/nkctl/imageFile.h"

#include <charconv>

#include "nkProtocol/imageMessage.h"
#include "tools/common/files.h"
#include "tools/common/images.h"
#include "tools/nkctl/progress.h"
#include "tools/nkctl/stateCommands.h"
#include "tools/nkctl/station.h"

namespace {

constexpr struct {
  std::string_view ending;
  char const* mimeType;
} kinds[] = {{".png", "image/png"},
             {".jpg", "image/jpeg"},
             {".jpeg", "image/jpeg"},
             {".pdf", "application/pdf"},
             {".7z", "application/x-7z-compressed"},
             {".xml", "application/xml"}};

// What panels decompress at most, unless they are told otherwise.
constexpr unsigned int largestTelegram = 64u << 20;
// What stands around the content in its message.
constexpr unsigned int besides = 1024;

unsigned long long uidOf(tImageFile const& image) {
  unsigned long long uid = 0;
  constexpr std::string_view head = "image_id";
  if (image.name.starts_with(head)) {
    std::from_chars(image.name.data() + head.size(), image.name.data() + image.name.size(), uid);
    auto const type = nk_msgFile::getMimeType(image.mimeType.c_str());
    if (nk_msgFile::imageNameByMimeType_e(uid, type).view() == image.name) return uid;
  }
  auto const checksum = nk_tools::imageChecksum(image.content);
  std::from_chars(checksum.c_str(), checksum.c_str() + 16, uid, 16);
  return uid;
}

}  // namespace

std::string readImageFile(std::string const& path, tImageFile& image) {
  image.path = path;
  image.name = path.substr(path.rfind('/') + 1);
  image.mimeType.clear();
  for (auto const& kind : kinds) {
    if (image.name.ends_with(kind.ending)) image.mimeType = kind.mimeType;
  }
  if (image.mimeType.empty()) return path + " ends in none of .png .jpg .jpeg .pdf .7z .xml";
  if (char const* const problem = nk_tools::imageNameProblem(image.name))
    return path + ": " + problem;
  if (char const* const problem = nk_tools::readFile(path, image.content))
    return path + " " + problem;
  if (image.content.empty()) return path + " is empty";
  if (image.content.size() > largestTelegram - besides)
    return path + " is too large for a telegram";
  image.uid = uidOf(image);
  return {};
}

nk_tools::teExit sendImage(tStation& station, tImageFile& image, bool progress) {
  auto const size = image.content.size();
  nk_serializer content;
  {
    nk_messageImage message(askedVersion);
    message.add(image.uid, image.name.c_str(), image.mimeType.c_str(), &image.content);
    image.content.release();  // one copy of a large image less
    message.serializeMsg(&content);
  }
  tProgress told(image.name, size);
  auto const report = [&](unsigned long long gone, unsigned long long all) {
    told.report(gone, all);
  };
  return station.tell(content, progress ? tStation::tReport(report) : nullptr);
}

nk_tools::teExit removeImages(tStation& station, std::vector<unsigned long long> const& uids) {
  nk_messageImage message(askedVersion);
  message.setTaskRemove(nk_tools::IMAGES_REMOVE);
  for (auto const uid : uids) message.add(uid, "", "image/png");
  nk_serializer content;
  message.serializeMsg(&content);
  return station.tell(content);
}
