#pragma once

#include "harness/programs.h"
#include "nkProtocol/imageMessage.h"
#include "tools/common/images.h"

/// For tests of what the programs do with images.
namespace harness {

/// A file in an IMAGE message, which need not be right. Without a checksum it gets the right one.
struct tSentFile {
  unsigned long long uid = 0;
  std::string name, content;
  std::string checksum = {};
  unsigned char mimeType = 0;
};

inline tString text(std::string const& bytes) { return tString(std::string_view(bytes)); }

/// The content of an IMAGE message in version 3 with these files.
inline std::string imageContent(std::vector<tSentFile> const& files, unsigned char taskRemove = 0) {
  constexpr auto writing = nk_serializer::SER_WRITE;
  nk_serializer content;
  unsigned short type = nk_message::IMAGE, version = nk_message::VERSION_3;
  unsigned char taskFbc = 0;
  auto count = static_cast<unsigned int>(files.size());
  content.numbers(writing, type, version, taskRemove, count);
  for (auto file : files) {
    tBlob bytes(file.content.data(), static_cast<unsigned int>(file.content.size()));
    tString name = text(file.name);
    tString checksum = file.checksum.empty() ? nk_tools::imageChecksum(bytes) : text(file.checksum);
    content.u64(file.uid, writing);
    content.string(name, writing);
    content.string(checksum, writing);
    content.u8(file.mimeType, writing);
    content.blob(bytes, writing);
  }
  content.u8(taskFbc, writing);
  return std::string(reinterpret_cast<char const*>(content.data()), content.size());
}

}  // namespace harness
