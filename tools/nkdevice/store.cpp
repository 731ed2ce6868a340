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
  std::error_code problem;
  std::filesystem::create_directories(m_directory, problem);
  if (!problem && std::filesystem::is_directory(m_directory, problem)) return lock();
  nk_tools::say("cannot keep the state in " + m_directory + ": " +
                (problem ? problem.message() : "that is no directory"));
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

bool tStore::read(char const* name, tBlob& content) const {
  std::error_code problem;
  if (keepsNothing()) return false;
  // Trouble with looking is trouble with reading: only a file that is surely missing is no news.
  if (!std::filesystem::exists(path(name), problem) && !problem) return false;
  char const* const why = nk_tools::readFile(path(name), content);
  if (why != nullptr) setAside(name, why);
  return why == nullptr;
}

bool tStore::write(char const* name, tBlob const& content) const {
  if (keepsNothing()) return true;
  auto const fresh = path(name) + ".new";
  tFile file(tFile::modeWrite | tFile::modeCreate | tFile::modeTruncate, text(fresh));
  bool const written = file.add(content) && file.sync() &&
                       tFile::renameFile(text(fresh), text(path(name))) && file.sync();
  if (!written) {
    m_trouble("cannot write " + path(name) + ": " + std::generic_category().message(errno));
  }
  return written;
}

bool tStore::read(char const* name, nk_message& message) const {
  tBlob bytes;
  if (!read(name, bytes)) return false;
  nk_tools::tContent content(std::move(bytes));
  bool const whole = content.type == message.type() && content.version == storedVersion &&
                     content.readInto(message);
  if (!whole) setAside(name, "is damaged");
  return whole;
}

bool tStore::write(char const* name, nk_message& message) const {
  nk_serializer content;
  if (message.serializeMsg(&content)) return write(name, static_cast<tBlob const&>(content));
  m_trouble(std::string("no memory to store ") + name);
  return false;
}

void tStore::setAside(char const* name, char const* why) const {
  auto const from = path(name), to = from + ".bad";
  bool const moved = tFile::renameFile(text(from), text(to));
  m_trouble(from + " " + why + (moved ? "; it is now " + to : "; it cannot be renamed"));
}
