#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace harness {

/// A directory below `root` that is removed with all that is in it.
class tTempDir {
 public:
  explicit tTempDir(std::string const& root = "/tmp") : m_path(root + "/nkXXXXXX") {
    ::mkdtemp(m_path.data());
  }
  ~tTempDir() { std::filesystem::remove_all(m_path); }
  tTempDir(tTempDir const&) = delete;
  tTempDir& operator=(tTempDir const&) = delete;
  std::string operator/(std::string const& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

/// Returns the path.
inline std::string write(std::string const& path, std::string const& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

inline std::string contentOfFile(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace harness
