#include "tools/nkctl/imageFile.h"

#include <algorithm>
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

// Panels decompress no more than 64 MiB unless they are told otherwise; what stands around the
// image in its message is less than the rest.
constexpr unsigned int largestImage = (64u << 20) - 1024;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isLetter(char inAnyCase, char lowerCase) { return lower(inAnyCase) == lowerCase; }

// The kind of content that the ending of the name says, in whatever case; null if none.
char const* mimeTypeOf(std::string_view name) {
  for (auto const& kind : kinds) {
    if (name.size() < kind.ending.size()) continue;
    auto const ending = name.substr(name.size() - kind.ending.size());
    if (std::equal(ending.begin(), ending.end(), kind.ending.begin(), isLetter))
      return kind.mimeType;
  }
  return nullptr;
}

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

std::string imageEndings() {
  std::string text;
  for (auto const& kind : kinds) text.append(" ").append(kind.ending);
  return text;
}

bool hasImageEnding(std::string_view name) { return mimeTypeOf(name) != nullptr; }

std::string readImageFile(std::string const& path, tImageFile& image) {
  image.path = path;
  image.name = path.substr(path.rfind('/') + 1);
  if (path == "-") return "-: an image cannot come from standard input, its name says its kind";
  auto const* const mimeType = mimeTypeOf(image.name);
  if (mimeType == nullptr) return path + ": ends in none of" + imageEndings();
  image.mimeType = mimeType;
  if (char const* const problem = nk_tools::imageNameProblem(image.name))
    return path + ": " + problem;
  if (char const* const problem = nk_tools::readFile(path, image.content))
    return path + ": " + problem;
  if (image.content.empty()) return path + ": is empty";
  if (image.content.size() > largestImage)
    return path + ": is larger than " + std::to_string(largestImage) +
           " bytes, the most that a telegram carries";
  image.uid = uidOf(image);
  return {};
}

nk_tools::teExit sendImage(tStation& station, tImageFile& image, bool progress) {
  auto const size = image.content.size();
  nk_serializer content;
  {
    nk_messageImage message(station.version());
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
  nk_messageImage message(station.version());
  message.setTaskRemove(nk_tools::IMAGES_REMOVE);
  for (auto const uid : uids) message.add(uid, "", "image/png");
  nk_serializer content;
  message.serializeMsg(&content);
  return station.tell(content);
}
