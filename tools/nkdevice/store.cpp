#include "tools/nkdevice/store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "nkSupport/tFile.h"
#include "tools/common/files.h"
#include "tools/common/messages.h"
#include "tools/common/program.h"

namespace {

tString text(std::string const& path) { return tString(std::string_view(path)); }

}  // namespace

tStore::tStore(std::string directory, std::function<void(std::string const&)> trouble)
    : m_directory(std::move(directory)), m_trouble(std::move(trouble)) {}

tStore::~tStore() {
  if (m_lock >= 0) ::close(m_lock);
}

bool tStore::open() {
  if (keepsNothing()) return true;
  std::error_code error;
  std::filesystem::create_directories(m_directory, error);
  if (!error && std::filesystem::is_directory(m_directory, error)) return lock();
  nk_tools::say("cannot keep the state in " + m_directory + ": " +
                (error ? error.message() : "that is no directory"));
  return false;
}

// The file stays for ever: one that is removed could be locked by one panel and made anew by
// another.
bool tStore::lock() {
  m_lock = ::open(path("lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666);
  if (m_lock >= 0 && ::flock(m_lock, LOCK_EX | LOCK_NB) == 0) return true;
  nk_tools::say(errno == EWOULDBLOCK ? "another panel keeps its state in " + m_directory
                                     : "cannot lock " + path("lock") + ": " +
                                           std::generic_category().message(errno));
  return false;
}

// Only ENOENT means that there is no file. Any other failure shows when the file is read.
bool tStore::holds(char const* name) const {
  std::error_code error;
  return !keepsNothing() && (std::filesystem::exists(path(name), error) || error);
}

bool tStore::read(char const* name, tBlob& content, unsigned int most) {
  std::error_code error;
  if (!holds(name)) return false;
  std::string why = "is larger than what this panel takes";
  // The size is looked at first: reading must not take more memory than the panel may have.
  if (auto const size = std::filesystem::file_size(path(name), error); error || size <= most) {
    auto problem = nk_tools::readFile(path(name), content);
    // A read error may be temporary. The file is set aside only if a second try fails.
    if (problem != nullptr) problem = nk_tools::readFile(path(name), content);
    if (problem == nullptr) return true;
    why = "cannot be read (" + std::string(problem) + ")";
  }
  setAside(name, why.c_str());
  return false;
}

bool tStore::write(char const* name, tBlob const& content) {
  if (keepsNothing()) return true;
  auto const fresh = path(name) + ".new";
  tFile file(tFile::modeWrite | tFile::modeCreate | tFile::modeTruncate, text(fresh));
  bool written = file.add(content) && file.syncContent();
  int error = errno;
  if (!file.close() && written) {
    written = false;
    error = errno;
  }
  if (written && tFile::renameFile(text(fresh), text(path(name)))) {
    reportSuccess();
    syncEntries();
    return true;
  }
  if (written) error = errno;
  ::unlink(fresh.c_str());  // it would hold the last space of a full disk
  reportTrouble("write", path(name), error);
  return false;
}

bool tStore::sync(char const* name) {
  tFile file(0, text(path(name)));
  bool const synced = file.isOpen() && file.syncContent();
  if (!synced) reportTrouble("bring to the medium", path(name), errno);
  return synced;
}

bool tStore::syncEntries() {
  m_settled = keepsNothing() || syncDirectory(m_directory);
  if (!m_settled) reportTrouble("bring to the medium", m_directory, errno);
  return m_settled;
}

// Some file systems cannot sync a directory (EINVAL); they bring its entries along with the files.
bool tStore::syncDirectory(std::string const& path) {
  tFile directory(0, text(path));
  return directory.isOpen() && (directory.syncContent() || errno == EINVAL);
}

bool tStore::read(char const* name, nk_message& message, unsigned int most) {
  tBlob bytes;
  if (!read(name, bytes, most)) return false;
  nk_tools::tContent content(std::move(bytes));
  bool const whole = content.type == message.type() && content.version == storedVersion &&
                     content.readInto(message);
  if (!whole) setAside(name, "is damaged");
  return whole;
}

bool tStore::write(char const* name, nk_message& message) {
  nk_serializer content;
  if (message.serializeMsg(&content)) return write(name, static_cast<tBlob const&>(content));
  reportTrouble(std::string("no memory to store ") + name);
  return false;
}

void tStore::setAside(char const* name, char const* why) {
  auto const from = path(name), to = from + ".bad";
  bool const moved = tFile::renameFile(text(from), text(to));
  reportTrouble(from + " " + why + (moved ? "; it is now " + to : "; it cannot be renamed"));
}

void tStore::reportTrouble(char const* what, std::string const& path, int error) {
  reportTrouble(std::string("cannot ") + what + " " + path + ": " +
                std::generic_category().message(error));
}

void tStore::reportTrouble(std::string const& text) {
  if (text == m_reported) return;
  m_reported = text;
  m_trouble(text);
}
