#include "nkSupport/tFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

// Repeats a system call as long as signals interrupt it.
template <class tCall>
auto uninterrupted(tCall call) {
  for (;;) {
    auto const result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// The system takes a path up to its first zero byte; one that has another meaning is refused.
bool isPath(tString const& path) { return path.view().find('\0') == std::string_view::npos; }

int openPath(tString const& path, int flags) {
  if (!isPath(path)) return -1;
  return uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0666); });
}

int openFlags(int mode) { return (mode & tFile::modeWrite) != 0 ? O_WRONLY | O_APPEND : O_RDONLY; }

int creationFlags(int mode) {
  int const create = (mode & tFile::modeCreate) != 0 ? O_CREAT : 0;
  // Emptying needs the right to write.
  bool const empties = (mode & tFile::modeTruncate) != 0 && (mode & tFile::modeWrite) != 0;
  return create | (empties ? O_TRUNC : 0);
}

bool syncDescriptor(int descriptor) {
  return uninterrupted([&] { return ::fsync(descriptor); }) == 0;
}

// The entries of the directory that holds `path`. Some file systems cannot sync a directory
// (EINVAL); they bring its entries along with the file.
bool syncDirectoryOf(std::string_view path) {
  auto const slash = path.rfind('/');
  std::string const directory(slash == std::string_view::npos ? "." : path.substr(0, slash + 1));
  int const descriptor =
      uninterrupted([&] { return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) return false;
  bool const synced = syncDescriptor(descriptor) || errno == EINVAL;
  ::close(descriptor);
  return synced;
}

}  // namespace

tFile::tFile(int mode, tString const& path)
    : m_mode(mode),
      m_path(path),
      m_descriptor(openPath(path, openFlags(mode) | creationFlags(mode))) {}

tFile::~tFile() { close(); }

bool tFile::open() {
  close();
  m_descriptor = openPath(m_path, openFlags(m_mode));
  return isOpen();
}

bool tFile::open(tString const& path) {
  m_path = path;
  return open();
}

bool tFile::add(tBlob const& bytes) {
  if (!isOpen()) return false;
  unsigned char const* next = bytes.data();
  for (unsigned int left = bytes.size(); left != 0;) {
    auto const written = uninterrupted([&] { return ::write(m_descriptor, next, left); });
    if (written <= 0) return false;
    next += written;
    left -= static_cast<unsigned int>(written);
  }
  return true;
}

void tFile::beginSync() {
#ifdef SYNC_FILE_RANGE_WRITE
  if (isOpen()) (void)::sync_file_range(m_descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
}

bool tFile::syncContent() { return isOpen() && syncDescriptor(m_descriptor); }

bool tFile::sync() { return syncContent() && syncDirectoryOf(m_path.view()); }

bool tFile::close() {
  if (!isOpen()) return true;
  int const descriptor = m_descriptor;
  m_descriptor = -1;
  // Interrupted or not, the descriptor is gone: another try could hit a stranger's.
  return ::close(descriptor) == 0 || errno == EINTR;
}

bool tFile::renameFile(tString const& from, tString const& to) {
  return isPath(from) && isPath(to) &&
         uninterrupted([&] { return std::rename(from.c_str(), to.c_str()); }) == 0;
}
