#pragma once

#include "bytes.h"

/// Base-128 in 32-bit arithmetic, 7 bytes to 8 and back: for machines without vectors, and for what
/// the other ways leave over.
namespace base128 {

/// What is still to be converted. The steps below move it on.
struct tRun {
  unsigned char* dst;
  unsigned char const* src;
  unsigned int left;

  [[gnu::always_inline]] void advance(unsigned int read, unsigned int written) {
    src += read;
    left -= read;
    dst += written;
  }
};

constexpr std::uint32_t highBits = 0x80808080U;

/// The lower 28 bits as 4 bytes of 7 bits, high bits set: split in two, then each half again. The
/// last step doubles the upper 7 bits of 14 by adding them once more.
[[gnu::always_inline]] inline std::uint32_t spread(std::uint32_t bits) {
  bits = (bits & 0x3fffU) | (bits & 0xfffc000U) << 2;
  return (bits + (bits & 0x3f803f80U)) | highBits;
}
/// The inverse of `spread`, whatever the high bits are.
[[gnu::always_inline]] inline std::uint32_t gather(std::uint32_t bits) {
  bits = (bits & 0x7f007fU) | (bits & 0x7f007f00U) >> 1;
  return (bits & 0x3fffU) | (bits & 0x3fff0000U) >> 2;
}

[[gnu::always_inline]] inline void encodeRest(tRun run) {
  for (; run.left >= 7; run.advance(7, 8)) {
    bytes::store(run.dst, spread(bytes::load<std::uint32_t>(run.src)));
    bytes::store(run.dst + 4, spread(bytes::load<std::uint32_t>(run.src + 3) >> 4));
  }
  if (run.left == 0) return;
  std::uint64_t const bits = bytes::loadShort(run.src, run.left);
  std::uint64_t const upper = spread(static_cast<std::uint32_t>(bits >> 28));
  bytes::storeShort(run.dst, run.left + 1, upper << 32 | spread(static_cast<std::uint32_t>(bits)));
}

/// The last 2 to 7 bytes of an encoding. False if they are none.
[[gnu::always_inline]] inline bool decodeEnd(tRun run) {
  std::uint64_t const missing = (std::uint64_t{highBits} << 32 | highBits) << 8 * run.left;
  std::uint64_t const code = bytes::loadShort(run.src, run.left) | missing;
  auto const lower = static_cast<std::uint32_t>(code);
  auto const upper = static_cast<std::uint32_t>(code >> 32);
  std::uint64_t const bits = std::uint64_t{gather(upper)} << 28 | gather(lower);
  unsigned int const size = run.left - 1;
  bytes::storeShort(run.dst, size, bits);
  return (lower & upper & highBits) == highBits && bits >> 8 * size == 0;
}

[[gnu::always_inline]] inline bool decodeRest(tRun run) {
  std::uint32_t common = highBits;
  for (; run.left >= 8; run.advance(8, 7)) {
    auto lower = bytes::load<std::uint32_t>(run.src);
    auto upper = bytes::load<std::uint32_t>(run.src + 4);
    common &= lower & upper;
    lower = gather(lower);
    upper = gather(upper);
    bytes::store(run.dst, upper << 28 | lower);
    bytes::store(run.dst + 3, upper << 4 | lower >> 24);
  }
  if (common != highBits || run.left == 1) return false;
  return run.left == 0 || decodeEnd(run);
}

inline void encodeGeneric(unsigned char* dst, unsigned char const* src, unsigned int length) {
  encodeRest({dst, src, length});
}
inline bool decodeGeneric(unsigned char* dst, unsigned char const* src, unsigned int length) {
  return decodeRest({dst, src, length});
}

}  // namespace base128
