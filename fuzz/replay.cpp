// Runs a fuzz target over files, or over all files of directories: what was found stays found.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz.h"

namespace {

using tPaths = std::vector<std::filesystem::path>;

tPaths filesAt(std::filesystem::path const& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  tPaths files;
  for (auto const& entry : std::filesystem::directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void replay(std::filesystem::path const& path) {
  // On standard error and before the run, so that the last name is that of an input that ends it.
  std::fprintf(stderr, "%s\n", path.c_str());
  std::ifstream file(path, std::ios::binary);
  // Of the exact size, so that a read past the end shows.
  std::vector<unsigned char> const bytes{std::istreambuf_iterator<char>(file), {}};
  fuzz::require(bool(file), "an input can be read");
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int count, char** arguments) {
  unsigned int inputs = 0;
  for (int i = 1; i < count; ++i)
    for (auto const& path : filesAt(arguments[i])) replay(path), ++inputs;
  std::fprintf(stderr, "%u inputs\n", inputs);
  return inputs != 0 ? 0 : 1;
}
