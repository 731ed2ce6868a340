#pragma once

#include "nkSupport/export.h"

/// Base-128: 7 bits per byte, lowest bits first, the high bit always set. Encoded bytes lie in
/// 0x80..0xFF, so any byte below can mark the bounds of an encoded run. 7 bytes become 8; the last
/// byte of a run is padded with zero bits.
namespace base128 {
/// Encoded size of `length` bytes: ceil(8 * length / 7). `length` may be up to 0x70000000.
constexpr unsigned int encodedSize(unsigned int length) {
  return static_cast<unsigned int>((8ULL * length + 6) / 7);
}
/// Decoded size of `length` encoded bytes: floor(7 * length / 8).
constexpr unsigned int decodedSize(unsigned int length) {
  return static_cast<unsigned int>(7ULL * length / 8);
}
/// Writes encodedSize(length) bytes to `dst`. The ranges must not overlap.
NK_SUPPORT_API void encode(unsigned char* dst, unsigned char const* src, unsigned int length);
/// Writes decodedSize(length) bytes to `dst`. False, with unspecified bytes in `dst`, if `src` is
/// no encoding: a byte below 0x80, padding bits that are not zero, or a length that no encoding has
/// (8k + 1). The ranges must not overlap.
NK_SUPPORT_API bool decode(unsigned char* dst, unsigned char const* src, unsigned int length);
}  // namespace base128
