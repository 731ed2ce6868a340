#include "codec.h"

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  checkCodec({tCompression::encodeRLE, tCompression::decodeRLE, tCompression::encodedSizeRLE}, data,
             size);
  return 0;
}
