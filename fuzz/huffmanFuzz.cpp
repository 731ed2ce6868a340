#include "codec.h"

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  checkCodec(
      {tCompression::encodeHuffman, tCompression::decodeHuffman, tCompression::encodedSizeHuffman},
      data, size);
  return 0;
}
