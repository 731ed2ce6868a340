#include "panel/failingCalls.h"

#include <dlfcn.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>

#include "harness/files.h"

namespace {

namespace fs = std::filesystem;

struct tNotes {
  unsigned int calls = 0, at = 0, hasty = 0;
  int error = 0;
  std::string failed;
  bool busy = false;  // with calls of its own
  std::map<int, std::string> open;
  std::map<std::string, std::uintmax_t> dirty;  // files with bytes not synced: the size before
  std::map<std::string, std::string> renamed;   // to: what was there, or "-" for nothing
};

tNotes& notes() {
  static tNotes all;
  return all;
}

bool fails(char const* name) {
  auto& all = notes();
  if (all.busy || all.at == 0 || ++all.calls != all.at) return false;
  all.failed = name;
  errno = all.error;
  return true;
}

// What the system's library calls `name`, for a function of the type of `own`.
template <class Function>
Function* real(Function*, char const* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int noteOpen(int descriptor, char const* path) {
  if (descriptor >= 0 && !notes().busy) notes().open[descriptor] = path;
  return descriptor;
}

}  // namespace

void failingCalls::arm(unsigned int at, int error) {
  auto open = std::move(notes().open);
  notes() = {};
  notes().open = std::move(open);
  notes().at = at;
  notes().error = error;
}

void failingCalls::disarm() { notes().at = 0; }
std::string const& failingCalls::failed() { return notes().failed; }
unsigned int failingCalls::hastyRenames() { return notes().hasty; }

void failingCalls::losePower() {
  notes().busy = true;
  for (auto const& [path, size] : notes().dirty)
    if (fs::exists(path) && fs::file_size(path) > size) fs::resize_file(path, size);
  for (auto const& [to, before] : notes().renamed) {
    fs::remove(to);
    if (before != "-") harness::write(to, before.substr(1));
  }
  notes().busy = false;
}

// Takes the place of the system's function `name`, for the libraries of this program, too. The own
// name avoids what the system's headers make of the other.
#define NK_INSTEAD(result, own, name, ...)                                       \
  __attribute__((visibility("default"))) result own(__VA_ARGS__) __asm__(#name); \
  result own(__VA_ARGS__)

// The C library has two names for what takes or gives sizes of files.
#define NK_OPEN(own, name)                                                     \
  NK_INSTEAD(int, own, name, char const* path, int flags, unsigned int mode) { \
    if (fails("open")) return -1;                                              \
    return noteOpen(real(&(own), #name)(path, flags, mode), path);             \
  }
#define NK_TRUNCATE(own, name, tSize)                                \
  NK_INSTEAD(int, own, name, char const* path, tSize size) {         \
    return fails("truncate") ? -1 : real(&(own), #name)(path, size); \
  }

NK_OPEN(open32, open)
NK_OPEN(openLarge, open64)
NK_TRUNCATE(truncate32, truncate, long)
NK_TRUNCATE(truncateLarge, truncate64, long long)

NK_INSTEAD(std::FILE*, openFile, fopen64, char const* path, char const* mode) {
  return fails("fopen") ? nullptr : real(&openFile, "fopen64")(path, mode);
}

NK_INSTEAD(ssize_t, writeBytes, write, int descriptor, void const* bytes, size_t size) {
  auto const file = notes().open.find(descriptor);
  bool const known = file != notes().open.end();
  if (known && !notes().dirty.contains(file->second))
    notes().dirty[file->second] = fs::file_size(file->second);
  if (!known || !fails("write")) return real(&writeBytes, "write")(descriptor, bytes, size);
  auto const error = errno;
  (void)real(&writeBytes, "write")(descriptor, bytes, size / 2);
  errno = error;
  return -1;
}

NK_INSTEAD(int, syncFile, fsync, int descriptor) {
  if (fails("fsync")) return -1;
  auto const& path = notes().open[descriptor];
  notes().dirty.erase(path);
  std::erase_if(notes().renamed, [&](auto const& each) {
    return fs::path(each.first).parent_path() == fs::path(path + "/").parent_path();
  });
  return 0;
}

NK_INSTEAD(int, closeFile, close, int descriptor) {
  bool const known = notes().open.erase(descriptor) != 0;
  int const result = real(&closeFile, "close")(descriptor);
  return known && fails("close") ? -1 : result;
}

NK_INSTEAD(int, renameFile, rename, char const* from, char const* to) {
  if (fails("rename")) return -1;
  auto& all = notes();
  if (all.dirty.contains(from)) ++all.hasty;
  all.busy = true;
  if (!all.renamed.contains(to))
    all.renamed[to] = fs::exists(to) ? "+" + harness::contentOfFile(to) : "-";
  all.busy = false;
  return real(&renameFile, "rename")(from, to);
}

NK_INSTEAD(int, unlinkFile, unlink, char const* path) {
  return fails("unlink") ? -1 : real(&unlinkFile, "unlink")(path);
}

NK_INSTEAD(int, makeDirectory, mkdir, char const* path, unsigned int mode) {
  return fails("mkdir") ? -1 : real(&makeDirectory, "mkdir")(path, mode);
}
