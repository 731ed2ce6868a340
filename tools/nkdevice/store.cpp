#include "tools/nkdevice/store.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "nkSupport/tFile.h"
#include "tools/common/files.h"
#include "tools/common/program.h"

namespace {

tString text(std::string const& path) { return tString(std::string_view(path)); }

}  // namespace

bool tStore::open() const {
  if (m_directory.empty()) return true;
  std::error_code problem;
  std::filesystem::create_directories(m_directory, problem);
  if (!problem && std::filesystem::is_directory(m_directory, problem)) return true;
  nk_tools::say("cannot keep the state in " + m_directory + ": " +
                (problem ? problem.message() : "that is no directory"));
  return false;
}

bool tStore::read(char const* name, tBlob& content) const {
  std::error_code problem;
  if (m_directory.empty()) return false;
  // Trouble with looking is trouble with reading: only a file that is surely missing is no news.
  if (!std::filesystem::exists(path(name), problem) && !problem) return false;
  char const* const why = nk_tools::readFile(path(name), content);
  if (why != nullptr) setAside(name, why);
  return why == nullptr;
}

bool tStore::write(char const* name, tBlob const& content) const {
  if (m_directory.empty()) return true;
  auto const fresh = path(name) + ".new";
  tFile file(tFile::modeWrite | tFile::modeCreate | tFile::modeTruncate, text(fresh));
  bool const written = file.add(content) && file.sync() &&
                       tFile::renameFile(text(fresh), text(path(name))) && file.sync();
  if (!written) {
    nk_tools::say("cannot write " + path(name) + ": " + std::generic_category().message(errno));
  }
  return written;
}

void tStore::setAside(char const* name, char const* why) const {
  auto const from = path(name), to = from + ".bad";
  bool const moved = tFile::renameFile(text(from), text(to));
  nk_tools::say(from + " " + why + (moved ? "; it is now " + to : "; it cannot be renamed"));
}
