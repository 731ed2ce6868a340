#pragma once

#include "base128Generic.h"
#ifdef __ARM_NEON
#include <arm_neon.h>
#endif

/// Base-128 two groups at a time, in 16-byte vectors as the compilers offer them for any processor.
namespace base128 {

#ifdef __ARM_NEON
// Spelled out, because GCC takes vectors of 64-bit words apart on 32-bit ARM.
using tWords = uint64x2_t;

[[gnu::always_inline]] inline tWords loadPair(unsigned char const* low, unsigned char const* high) {
  return vreinterpretq_u64_u8(vcombine_u8(vld1_u8(low), vld1_u8(high)));
}
[[gnu::always_inline]] inline void storePair(unsigned char* low, unsigned char* high,
                                             tWords words) {
  vst1_u8(low, vget_low_u8(vreinterpretq_u8_u64(words)));
  vst1_u8(high, vget_high_u8(vreinterpretq_u8_u64(words)));
}
template <int bits>
[[gnu::always_inline]] inline tWords up(tWords words) {
  return vshlq_n_u64(words, bits);
}
template <int bits>
[[gnu::always_inline]] inline tWords down(tWords words) {
  return vshrq_n_u64(words, bits);
}
#else
using tWords [[gnu::vector_size(16)]] = std::uint64_t;

[[gnu::always_inline]] inline tWords loadPair(unsigned char const* low, unsigned char const* high) {
  return tWords{bytes::load<std::uint64_t>(low), bytes::load<std::uint64_t>(high)};
}
[[gnu::always_inline]] inline void storePair(unsigned char* low, unsigned char* high,
                                             tWords words) {
  bytes::store<std::uint64_t>(low, words[0]);
  bytes::store<std::uint64_t>(high, words[1]);
}
template <int bits>
[[gnu::always_inline]] inline tWords up(tWords words) {
  return words << bits;
}
template <int bits>
[[gnu::always_inline]] inline tWords down(tWords words) {
  return words >> bits;
}
#endif

/// Reads one byte beyond the 14 that it encodes.
[[gnu::always_inline]] inline void encodePairs(tRun& run) {
  for (; run.left >= 15; run.advance(14, 16)) {
    tWords words = loadPair(run.src, run.src + 7);
    words = (words & 0xfffffffU) | up<4>(words & 0xfffffff0000000U);
    words = (words & 0x3fff00003fffU) | up<2>(words & 0xfffc0000fffc000U);
    words = (words + (words & 0x3f803f803f803f80U)) | 0x8080808080808080U;
    storePair(run.dst, run.dst + 8, words);
  }
}

/// Writes one byte beyond the 14 that it decodes. False if a high bit is missing.
[[gnu::always_inline]] inline bool decodePairs(tRun& run) {
  tWords common = ~tWords{};
  for (; run.left >= 18; run.advance(16, 14)) {  // 18 bytes hold 15
    tWords words = loadPair(run.src, run.src + 8);
    common &= words;
    words = (words & 0x7f007f007f007fU) | down<1>(words & 0x7f007f007f007f00U);
    words = (words & 0x3fff00003fffU) | down<2>(words & 0x3fff00003fff0000U);
    words = (words & 0xfffffffU) | down<4>(words & 0xfffffff00000000U);
    storePair(run.dst, run.dst + 7, words);
  }
  return (common[0] & common[1] & 0x8080808080808080U) == 0x8080808080808080U;
}

inline void encodeVector(unsigned char* dst, unsigned char const* src, unsigned int length) {
  tRun run{dst, src, length};
  encodePairs(run);
  encodeRest(run);
}
inline bool decodeVector(unsigned char* dst, unsigned char const* src, unsigned int length) {
  tRun run{dst, src, length};
  return decodePairs(run) && decodeRest(run);
}

}  // namespace base128
