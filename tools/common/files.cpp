#include "tools/common/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

char const* nk_tools::readFile(std::string const& name, tBlob& content) {
  auto const closeOwn = [](std::FILE* file) {
    if (file != stdin) std::fclose(file);
  };
  std::unique_ptr<std::FILE, decltype(closeOwn)> const file(
      name == "-" ? stdin : std::fopen(name.c_str(), "rb"), closeOwn);
  content.clear();
  // Points to a constant text, unlike that of strerror.
  if (!file) return ::strerrordesc_np(errno);
  unsigned char buffer[65536];
  while (auto const count = std::fread(buffer, 1, sizeof buffer, file.get())) {
    if (count > largestContent - content.size()) return "is larger than 256 MiB";
    if (!content.append(buffer, static_cast<unsigned int>(count))) return "needs too much memory";
  }
  return std::ferror(file.get()) != 0 ? ::strerrordesc_np(errno) : nullptr;
}
