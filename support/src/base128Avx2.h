#pragma once

#include <immintrin.h>

#include "base128Vector.h"

/// Base-128 four groups at a time, for x86-64 processors that have AVX2.
namespace base128 {

/// Two 16-byte patterns side by side, for instructions that work on each half of a vector.
[[gnu::target("avx2")]] inline __m256i twice(__m128i half) {
  return _mm256_broadcastsi128_si256(half);
}

/// Reads two bytes beyond the 28 that it encodes.
[[gnu::target("avx2")]] inline void encodeFours(tRun& run) {
  // Bytes 0-3 and 3-6 of each group become words; the 28 bits of the second begin at bit 4.
  __m256i const halves = twice(_mm_setr_epi8(0, 1, 2, 3, 3, 4, 5, 6, 7, 8, 9, 10, 10, 11, 12, 13));
  __m256i const begin = _mm256_set1_epi64x(4LL << 32);
  for (; run.left >= 30; run.advance(28, 32)) {
    __m256i bits = _mm256_loadu2_m128i(reinterpret_cast<__m128i_u const*>(run.src + 14),
                                       reinterpret_cast<__m128i_u const*>(run.src));
    bits = _mm256_srlv_epi32(_mm256_shuffle_epi8(bits, halves), begin);
    bits = _mm256_blend_epi16(bits, _mm256_slli_epi32(bits, 2), 0xaa);  // odd 16-bit words
    bits = _mm256_and_si256(bits, _mm256_set1_epi16(0x3fff));
    bits = _mm256_add_epi16(bits, _mm256_and_si256(bits, _mm256_set1_epi16(0x3f80)));
    bits = _mm256_or_si256(bits, _mm256_set1_epi8(-0x80));
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(run.dst), bits);
  }
}

/// Writes two bytes beyond the 28 that it decodes. False if a high bit is missing.
[[gnu::target("avx2")]] inline bool decodeFours(tRun& run) {
  __m256i const packed =
      twice(_mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, -1, -1));
  __m256i common = _mm256_set1_epi8(-1);
  for (; run.left >= 35; run.advance(32, 28)) {  // 35 bytes hold 30
    __m256i bits = _mm256_loadu_si256(reinterpret_cast<__m256i_u const*>(run.src));
    common = _mm256_and_si256(common, bits);
    bits = _mm256_and_si256(bits, _mm256_set1_epi8(0x7f));
    // Pairs of bytes: first + second * 2^7 (factors 0x01, 0x80). Pairs of these 14 bits: first +
    // second * 2^14.
    bits = _mm256_maddubs_epi16(_mm256_set1_epi16(-0x7fff), bits);
    bits = _mm256_madd_epi16(bits, _mm256_set1_epi32(0x40000001));
    // Pairs of these 28 bits: the first moves up to the second, then both down.
    bits = _mm256_srli_epi64(_mm256_sllv_epi32(bits, _mm256_set1_epi64x(4)), 4);
    bits = _mm256_shuffle_epi8(bits, packed);
    _mm256_storeu2_m128i(reinterpret_cast<__m128i_u*>(run.dst + 14),
                         reinterpret_cast<__m128i_u*>(run.dst), bits);
  }
  return _mm256_movemask_epi8(common) == -1;
}

[[gnu::target("avx2")]] inline void encodeAvx2(unsigned char* dst, unsigned char const* src,
                                               unsigned int length) {
  tRun run{dst, src, length};
  encodeFours(run);
  encodePairs(run);
  encodeRest(run);
}
[[gnu::target("avx2")]] inline bool decodeAvx2(unsigned char* dst, unsigned char const* src,
                                               unsigned int length) {
  tRun run{dst, src, length};
  return decodeFours(run) && decodePairs(run) && decodeRest(run);
}

}  // namespace base128
