#include "tools/nkdevice/images.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <list>

#include "nkSupport/tFile.h"
#include "nkSupport/tJson.h"
#include "tools/common/files.h"
#include "tools/common/images.h"
#include "tools/nkdevice/limits.h"

namespace {

namespace fs = std::filesystem;

// Ends the names of files that cannot be read: they stay, for people to look at.
constexpr char const* unreadable = ".bad";

std::string numbered(unsigned long long uid, char const* what) {
  return "image " + std::to_string(uid) + " " + what;
}

// What happened to so many images, one of which has this uid.
std::string counted(std::size_t count, unsigned long long uid, char const* what) {
  return count == 1 ? numbered(uid, what) : std::to_string(count) + " images " + what;
}

tString text(std::string const& path) { return tString(std::string_view(path)); }

// Why no panel takes the image; null if it is right.
char const* problemOf(nk_msgFile& file) {
  if (char const* const problem = nk_tools::imageNameProblem(file.name().view())) return problem;
  if (file.mimeType() >= nk_msgFile::MIME_UNSUPPORTED) return "its mime type is unknown";
  if (file.content().empty()) return "it is empty";
  if (nk_tools::imageChecksum(file.content()) != file.checksum())
    return "its checksum is not that of its content";
  return nullptr;
}

}  // namespace

/// The images of one message that are refused: one event for all.
struct tImages::tRefusals {
  unsigned int count = 0;
  std::string first = {};
  tString name = {};

  void add(tUid uid, tString const& image, char const* problem) {
    if (count++ != 0) return;
    first = numbered(uid, "refused: ") + problem;
    if (nk_tools::imageNameProblem(image.view()) == nullptr) name = image;
  }
  void record(tEventLog& events) const {
    if (count == 1) events.record(EVENT_IMAGE_REFUSED, first, name);
    if (count > 1)
      events.record(EVENT_IMAGE_REFUSED, std::to_string(count) + " images refused; " + first, name);
  }
};

/// Files that are written together: their way to the medium begins for all before the first is
/// waited for.
class tImages::tSlice {
 public:
  /// The most files that are open at once.
  static constexpr std::size_t most = 64;

  void add(tUid uid, std::string const& path, tBlob const& content) {
    auto& one = m_files.emplace_back(uid, path);
    one.good = one.file.add(content);
    if (!one.good) one.error = errno;
    one.file.beginSync();
  }
  std::size_t size() const { return m_files.size(); }
  /// Gives all files their names; adds the uids of those that failed to `failed`.
  void finish(tStore& store, std::vector<tUid>& failed) {
    for (auto& one : m_files) {
      if (one.good && one.finish()) continue;
      store.reportTrouble("write", one.path, one.error);
      ::unlink(one.temporary.c_str());
      failed.push_back(one.uid);
    }
    m_files.clear();
  }

 private:
  struct tOne {
    tOne(tUid id, std::string const& name)
        : uid(id),
          path(name),
          temporary(name + "~"),
          file(tFile::modeWrite | tFile::modeCreate | tFile::modeTruncate, text(temporary)) {}
    bool finish() {
      bool const written = file.syncContent();
      error = errno;
      if (!file.close() || !written) return false;
      bool const named = tFile::renameFile(text(temporary), text(path));
      error = errno;
      return named;
    }

    tUid uid;
    std::string path, temporary;
    tFile file;
    bool good = false;
    int error = 0;
  };

  std::list<tOne> m_files;
};

void tImages::load() {
  if (m_store.keepsNothing() || !m_file.load([this](tBlob& record) { return read(record); }))
    return;
  std::vector<tUid> damaged;
  for (auto& [uid, image] : m_index) {
    bool const whole = isWhole(uid, image);
    m_taken += image.size;
    if (whole) continue;
    damaged.push_back(uid);
    m_events.record(EVENT_STATE_TROUBLE, numbered(uid, "is damaged or missing; it is dropped"),
                    image.name);
  }
  if (!damaged.empty() && !commit({}, damaged)) take({}, damaged);
  // With changes left out, files without an image may be what is left of confirmed ones.
  if (!m_file.isDamaged()) sweepAll();
}

unsigned int tImages::handle(nk_messageImage& message) {
  auto const task = message.taskRemove();
  if (task == nk_tools::IMAGES_STORE) return storeAll(message);
  if (task == nk_tools::IMAGES_REMOVE) {
    removeAll(message);
  } else {
    m_events.record(EVENT_REQUEST_REFUSED, "images refused: taskRemove " + std::to_string(task) +
                                               " is no task of this panel");
  }
  return 0;
}

unsigned int tImages::storeAll(nk_messageImage& message) {
  tRefusals refusals;
  auto chosen = choose(message, refusals);
  saveAll(chosen, refusals);
  if (!chosen.empty() && !commit(chosen, {})) {
    std::vector<tUid> all;
    for (auto const& each : chosen) all.push_back(each.first);
    giveUp(chosen, refusals, all);
  }
  refusals.record(m_events);
  if (!chosen.empty()) {
    auto const& [uid, image] = *chosen.begin();
    m_events.record(EVENT_IMAGE_STORED, counted(chosen.size(), uid, "stored"),
                    chosen.size() == 1 ? image.name : tString());
  }
  sweep();
  return static_cast<unsigned int>(chosen.size());
}

// What of the message is right and changes what the panel holds.
tImages::tIndex tImages::choose(nk_messageImage& message, tRefusals& refusals) const {
  tIndex chosen;
  auto taken = m_taken;
  auto images = m_index.size();
  for (unsigned int i = 0; i < message.count(); ++i) {
    auto& file = *message.get(i);
    tImage image{file.name(), file.checksum(), file.mimeType(), file.content().size(), &file};
    auto const held = m_index.find(file.id());
    auto const earlier = chosen.find(file.id());
    bool const isHeld = held != m_index.end(), isEarlier = earlier != chosen.end();
    auto const replaced = isEarlier ? earlier->second.size : isHeld ? held->second.size : 0;
    char const* problem = problemOf(file);
    if (problem == nullptr && images == tLimits::images && !isHeld && !isEarlier)
      problem = "the panel is full";
    if (problem == nullptr && image.size > m_room - std::min(m_room, taken - replaced))
      problem = "the panel has no room for it";
    if (problem != nullptr) {
      refusals.add(file.id(), file.name(), problem);
      continue;
    }
    taken += image.size - replaced;
    if (!isHeld && !isEarlier) ++images;
    if (isHeld && fileName(file.id(), held->second) == fileName(file.id(), image))
      image.file = nullptr;
    if (image.file == nullptr && held->second.name == image.name) {
      chosen.erase(file.id());
    } else {
      chosen[file.id()] = image;
    }
  }
  return chosen;
}

// Writes the files of the chosen images.
void tImages::saveAll(tIndex& chosen, tRefusals& refusals) {
  std::vector<tUid> failed;
  tSlice slice;
  bool const stores = !m_store.keepsNothing() && !chosen.empty();
  if (stores) makeDirectory();
  for (auto const& [uid, image] : chosen) {
    if (!stores || image.file == nullptr) continue;
    slice.add(uid, filePath(fileName(uid, image)), image.file->content());
    if (slice.size() == tSlice::most) slice.finish(m_store, failed);
  }
  slice.finish(m_store, failed);
  if (stores && !tStore::syncDirectory(directory())) {
    m_store.reportTrouble("bring to the medium", directory(), errno);
    failed.clear();
    for (auto const& [uid, image] : chosen)
      if (image.file != nullptr) failed.push_back(uid);
  }
  giveUp(chosen, refusals, failed);
}

void tImages::giveUp(tIndex& chosen, tRefusals& refusals, std::vector<tUid> const& failed) {
  for (auto const uid : failed) {
    auto const one = chosen.find(uid);
    refusals.add(uid, one->second.name, "it cannot be stored");
    if (one->second.file != nullptr) m_useless.insert(fileName(uid, one->second));
    chosen.erase(one);
  }
}

// If it cannot be made, writing into it fails and says why.
void tImages::makeDirectory() {
  std::error_code error;
  if (fs::create_directory(directory(), error)) m_store.syncEntries();
}

void tImages::removeAll(nk_messageImage& message) {
  std::set<tUid> held;
  for (unsigned int i = 0; i < message.count(); ++i) {
    auto const uid = message.get(i)->id();
    if (m_index.contains(uid)) held.insert(uid);
  }
  if (held.empty()) return;
  if (commit({}, {held.begin(), held.end()})) {
    m_events.record(EVENT_IMAGE_REMOVED, counted(held.size(), *held.begin(), "removed"));
  } else {
    m_events.record(EVENT_REQUEST_REFUSED, "images cannot be removed; they stay");
  }
  sweep();
}

// A record: images that are new or changed, and the uids of those that are gone.
bool tImages::write(tIndex const& stored, std::vector<tUid> const& removed, tBlob& record) {
  tJson json;
  for (auto const& [uid, image] : stored) {
    tJson one;
    one.addUInt64("uid", uid);
    one.addString("name", image.name);
    one.addString("cs", image.checksum);
    one.addInt("mime", image.mimeType);
    json.addToArray("images", std::move(one));
  }
  for (auto const uid : removed) {
    tJson one;
    one.addUInt64("uid", uid);
    json.addToArray("removed", std::move(one));
  }
  auto const text = json.getJson(false);
  return !text.empty() && record.append(text.c_str(), text.length());
}

bool tImages::commit(tIndex const& stored, std::vector<tUid> const& removed) {
  auto const whole = [&](tBlob& record) {
    tIndex next = m_index;
    for (auto const& [uid, image] : stored) next[uid] = image;
    for (auto const uid : removed) next.erase(uid);
    return write(next, {}, record);
  };
  tBlob change;
  if (!write(stored, removed, change) || !m_file.add(change, change.size(), whole)) return false;
  take(stored, removed);
  return true;
}

// What was committed comes into force.
void tImages::take(tIndex const& stored, std::vector<tUid> const& removed) {
  auto const drop = [this](tUid uid) {
    auto const old = m_index.find(uid);
    if (old == m_index.end()) return;
    m_taken -= old->second.size;
    m_useless.insert(fileName(uid, old->second));
    m_index.erase(old);
  };
  for (auto const uid : removed) drop(uid);
  for (auto const& [uid, image] : stored) {
    drop(uid);
    m_taken += image.size;
    m_useless.erase(fileName(uid, image));
    m_index[uid] = image;
    m_index[uid].file = nullptr;
  }
}

// Only once the checksum has been found to be that of the content: it becomes part of the name.
std::string tImages::fileName(tUid uid, tImage const& image) {
  return "image_id" + std::to_string(uid) + "_" + image.checksum.c_str() +
         nk_msgFile::getFileExtension(image.mimeType).c_str();
}

// Notes the image's size too.
bool tImages::isWhole(tUid uid, tImage& image) const {
  tBlob content;
  auto const path = filePath(fileName(uid, image));
  // Read errors may be temporary and a dropped image is deleted, so try twice.
  bool const isRead =
      nk_tools::readFile(path, content) == nullptr || nk_tools::readFile(path, content) == nullptr;
  std::error_code error;
  if (!isRead) fs::rename(path, path + unreadable, error);
  image.size = content.size();
  return isRead && nk_tools::imageChecksum(content) == image.checksum;
}

bool tImages::read(tBlob& record) {
  tJson json, one;
  if (!json.parse({reinterpret_cast<char const*>(record.data()), record.size()})) return false;
  for (unsigned int i = 0; json.getArrayObject("removed", i, one); ++i)
    m_index.erase(static_cast<tUid>(one.getInt("uid", 0)));
  for (unsigned int i = 0; json.getArrayObject("images", i, one); ++i) {
    auto const mime = one.getInt("mime", nk_msgFile::MIME_UNSUPPORTED);
    if (mime < 0 || mime >= nk_msgFile::MIME_UNSUPPORTED ||
        one.getString("cs").view().find_first_not_of("0123456789abcdef") != std::string::npos)
      return false;
    m_index[static_cast<tUid>(one.getInt("uid", 0))] = {one.getString("name"), one.getString("cs"),
                                                        nk_msgFile::teMimeType(mime), 0};
  }
  return true;
}

void tImages::settle() {
  m_file.settle([this](tBlob& record) { return write(m_index, {}, record); });
  sweep();
}

// Finds what a crash left behind.
void tImages::sweepAll() {
  std::set<std::string> needed;
  for (auto const& [uid, image] : m_index) needed.insert(fileName(uid, image));
  std::error_code error;
  for (fs::directory_iterator each(directory(), error), end; !error && each != end;
       each.increment(error)) {
    auto name = each->path().filename().string();
    if (!needed.contains(name) && !name.ends_with(unreadable)) m_useless.insert(std::move(name));
  }
  if (error && error != std::errc::no_such_file_or_directory)
    m_store.reportTrouble("read", directory(), error.value());
  sweep();
}

// Deletes what no image needs, once no record on the medium can name it.
void tImages::sweep() {
  if (m_useless.empty() || m_store.keepsNothing() || !m_file.isSettled()) return;
  for (auto each = m_useless.begin(); each != m_useless.end();) {
    auto const path = filePath(*each);
    bool const gone = ::unlink(path.c_str()) == 0 || errno == ENOENT;
    if (!gone) m_store.reportTrouble("delete", path, errno);
    each = gone ? m_useless.erase(each) : std::next(each);
  }
}

std::vector<unsigned long long> tImages::uids() const {
  std::vector<tUid> list;
  list.reserve(m_index.size());
  for (auto const& each : m_index) list.push_back(each.first);
  return list;
}

tString tImages::checksum(tUid uid) const {
  auto const held = m_index.find(uid);
  return held != m_index.end() ? held->second.checksum : tString();
}
