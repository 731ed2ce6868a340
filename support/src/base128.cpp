#include "nkSupport/base128.h"

#include <cstring>

namespace base128 {
void encode(unsigned char* dst, unsigned char const* src, unsigned int length) {
  unsigned int bits = 0, have = 0;
  for (unsigned int i = 0; i < length; ++i) {
    bits |= static_cast<unsigned int>(src[i]) << have;
    have += 8;
    while (have >= 7) {
      *dst++ = static_cast<unsigned char>(0x80 | (bits & 0x7f));
      bits >>= 7;
      have -= 7;
    }
  }
  if (have) *dst++ = static_cast<unsigned char>(0x80 | bits);
}
bool decode(unsigned char* dst, unsigned char const* src, unsigned int length) {
  if (length % 8 == 1) return false;
  unsigned int bits = 0, have = 0;
  for (unsigned int i = 0; i < length; ++i) {
    if (src[i] < 0x80) return false;
    bits |= static_cast<unsigned int>(src[i] & 0x7f) << have;
    have += 7;
    if (have >= 8) {
      *dst++ = static_cast<unsigned char>(bits);
      bits >>= 8;
      have -= 8;
    }
  }
  return bits == 0;
}
}  // namespace base128
