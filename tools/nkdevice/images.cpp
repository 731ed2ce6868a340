#include "tools/nkdevice/images.h"

#include <filesystem>
#include <set>

#include "nkSupport/tJson.h"
#include "tools/common/files.h"
#include "tools/common/images.h"

namespace {

namespace fs = std::filesystem;

constexpr char const* indexFile = "images.json";
constexpr unsigned int mostImages = 10000;

std::string numbered(unsigned long long uid, char const* what) {
  return "image " + std::to_string(uid) + " " + what;
}

// What happened to so many images, one of which has this uid.
std::string counted(unsigned int count, unsigned long long uid, char const* what) {
  return count == 1 ? numbered(uid, what) : std::to_string(count) + " images " + what;
}

}  // namespace

void tImages::load() {
  tIndex stored;
  if (m_store.keepsNothing() || !readIndex(stored)) return sweep();
  auto const count = stored.size();
  for (auto each = stored.begin(); each != stored.end();) {
    bool const whole = isWhole(each->first, each->second);
    if (!whole) {
      m_events.record(EVENT_STATE_TROUBLE,
                      numbered(each->first, "is damaged or missing; it is dropped"),
                      each->second.name);
    }
    each = whole ? std::next(each) : stored.erase(each);
  }
  m_index = stored;
  if (stored.size() != count) commit(std::move(stored));
  sweep();
}

unsigned int tImages::handle(nk_messageImage& message) {
  unsigned int stored = 0;
  if (message.count() > mostImages) {
    m_events.record(EVENT_REQUEST_REFUSED, "images refused: more than the panel could hold");
  } else if (message.taskRemove() == nk_tools::IMAGES_STORE) {
    stored = storeAll(message);
  } else if (message.taskRemove() == nk_tools::IMAGES_REMOVE) {
    removeAll(message);
  } else {
    m_events.record(EVENT_REQUEST_REFUSED, "images refused: taskRemove " +
                                               std::to_string(message.taskRemove()) +
                                               " is no task of this panel");
  }
  return stored;
}

unsigned int tImages::storeAll(nk_messageImage& message) {
  tIndex next = m_index;
  auto taken = sizeOf(next);
  unsigned int stored = 0;
  nk_msgFile const* last = nullptr;
  for (unsigned int i = 0; i < message.count(); ++i) {
    auto& file = *message.get(i);
    auto const replaced = next.find(file.id());
    auto const others = taken - (replaced != next.end() ? replaced->second.size : 0);
    char const* problem = problemOf(file, next, others);
    tImage const image{file.name(), file.checksum(), file.mimeType(), file.content().size()};
    if (problem == nullptr && !save(file, image)) problem = "it cannot be stored";
    if (problem == nullptr) {
      next[file.id()] = image;
      taken = others + image.size;
      last = &file;
      ++stored;
    } else {
      bool const named = nk_tools::imageNameProblem(file.name().view()) == nullptr;
      m_events.record(EVENT_IMAGE_REFUSED, numbered(file.id(), "refused: ") + problem,
                      named ? file.name() : tString());
    }
  }
  if (stored != 0 && !commit(std::move(next))) stored = 0;
  if (stored != 0)
    m_events.record(EVENT_IMAGE_STORED, counted(stored, last->id(), "stored"),
                    stored == 1 ? last->name() : tString());
  sweep();
  return stored;
}

void tImages::removeAll(nk_messageImage& message) {
  tIndex next = m_index;
  unsigned int removed = 0;
  unsigned long long last = 0;
  for (unsigned int i = 0; i < message.count(); ++i) {
    auto const uid = message.get(i)->id();
    if (next.erase(uid) == 0) continue;
    last = uid;
    ++removed;
  }
  if (removed == 0 || !commit(std::move(next))) return;
  m_events.record(EVENT_IMAGE_REMOVED, counted(removed, last, "removed"));
  sweep();
}

unsigned long long tImages::sizeOf(tIndex const& index) {
  unsigned long long sum = 0;
  for (auto const& [uid, image] : index) sum += image.size;
  return sum;
}

// `others` is the size of the images that stay beside this one.
char const* tImages::problemOf(nk_msgFile& file, tIndex const& index,
                               unsigned long long others) const {
  if (char const* const problem = nk_tools::imageNameProblem(file.name().view())) return problem;
  if (file.mimeType() >= nk_msgFile::MIME_UNSUPPORTED) return "its mime type is unknown";
  if (file.content().empty()) return "it is empty";
  if (nk_tools::imageChecksum(file.content()) != file.checksum())
    return "its checksum is not that of its content";
  if (index.size() >= mostImages && !index.contains(file.id())) return "the panel is full";
  if (others > m_room || file.content().size() > m_room - others)
    return "the panel has no room for it";
  return nullptr;
}

bool tImages::save(nk_msgFile& file, tImage const& image) {
  if (m_store.keepsNothing()) return true;
  std::error_code problem;
  fs::create_directory(directory(), problem);
  auto const name = fileName(file.id(), image);
  auto const path =
      file.saveToDir(tString(std::string_view(directory())), true, tString(std::string_view(name)));
  // The library does not say whether the file could be given its name.
  return !path.empty() && fs::is_regular_file(directory() + "/" + name, problem);
}

// Only once the checksum has been found to be that of the content: it becomes part of the name.
std::string tImages::fileName(unsigned long long uid, tImage const& image) {
  return "image_id" + std::to_string(uid) + "_" + image.checksum.c_str() +
         nk_msgFile::getFileExtension(image.mimeType).c_str();
}

// Notes the image's size too.
bool tImages::isWhole(unsigned long long uid, tImage& image) const {
  tBlob content;
  bool const isRead =
      nk_tools::readFile(directory() + "/" + fileName(uid, image), content) == nullptr;
  image.size = content.size();
  return isRead && nk_tools::imageChecksum(content) == image.checksum;
}

bool tImages::readIndex(tIndex& index) const {
  tBlob bytes;
  tJson json, one;
  if (!m_store.read(indexFile, bytes)) return false;
  bool good = json.parse({reinterpret_cast<char const*>(bytes.data()), bytes.size()});
  for (unsigned int i = 0; good && json.getArrayObject("images", i, one); ++i) {
    auto const mime = one.getInt("mime", nk_msgFile::MIME_UNSUPPORTED);
    good = mime >= 0 && mime < nk_msgFile::MIME_UNSUPPORTED &&
           one.getString("cs").view().find_first_not_of("0123456789abcdef") == std::string::npos;
    index[static_cast<unsigned long long>(one.getInt("uid", 0))] = {
        one.getString("name"), one.getString("cs"), nk_msgFile::teMimeType(mime), 0};
  }
  if (!good) m_store.setAside(indexFile, "is damaged");
  return good;
}

bool tImages::commit(tIndex next) {
  tJson json;
  for (auto const& [uid, image] : next) {
    tJson one;
    one.addUInt64("uid", uid);
    one.addString("name", image.name);
    one.addString("cs", image.checksum);
    one.addInt("mime", image.mimeType);
    json.addToArray("images", std::move(one));
  }
  auto const text = json.getJson(true);
  if (!m_store.write(indexFile, tBlob(text.c_str(), text.length()))) return false;
  m_index = std::move(next);
  return true;
}

// Deletes what no image needs: the files of images that are gone, and what a crash left behind.
void tImages::sweep() const {
  if (m_store.keepsNothing()) return;
  std::set<std::string> needed;
  for (auto const& [uid, image] : m_index) needed.insert(fileName(uid, image));
  std::error_code problem;
  std::vector<fs::path> useless;
  for (fs::directory_iterator each(directory(), problem), end; !problem && each != end;
       each.increment(problem)) {
    if (!needed.contains(each->path().filename().string())) useless.push_back(each->path());
  }
  for (auto const& path : useless) fs::remove(path, problem);
}

std::vector<unsigned long long> tImages::uids() const {
  std::vector<unsigned long long> list;
  for (auto const& each : m_index) list.push_back(each.first);
  return list;
}
