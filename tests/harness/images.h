#pragma once

#include <vector>

#include "harness/hex.h"
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

/// The content of an IMAGE message in version 3 with these files.
inline std::string imageContent(std::vector<tSentFile> const& files, unsigned char taskRemove = 0) {
  constexpr auto writing = nk_serializer::SER_WRITE;
  nk_serializer content;
  unsigned short type = nk_message::IMAGE, version = nk_message::VERSION_3;
  unsigned char taskFbc = 0;
  auto count = static_cast<unsigned int>(files.size());
  content.numbers(writing, type, version, taskRemove, count);
  for (auto file : files) {
    tBlob data = bytes(file.content), name = bytes(file.name), checksum = bytes(file.checksum);
    if (checksum.empty()) checksum = bytes(nk_tools::imageChecksum(data).c_str());
    content.u64(file.uid, writing);
    content.blob(name, writing);
    content.blob(checksum, writing);
    content.u8(file.mimeType, writing);
    content.blob(data, writing);
  }
  content.u8(taskFbc, writing);
  return text(content);
}

}  // namespace harness
