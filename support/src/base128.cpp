#include "nkSupport/base128.h"

#include "base128Vector.h"
#ifdef __x86_64__
#include "base128Avx2.h"
#endif

namespace base128 {
namespace {

/// Without vector instructions, 64-bit arithmetic is the slower of the two.
#if defined(__SSE2__) || defined(__ARM_NEON)
constexpr bool hasVectors = true;
#else
constexpr bool hasVectors = false;
#endif

#ifdef __x86_64__
/// Shorter runs gain nothing from wider vectors.
bool avx2Pays(unsigned int length) { return length >= 64 && __builtin_cpu_supports("avx2"); }
#endif

}  // namespace

void encode(unsigned char* dst, unsigned char const* src, unsigned int length) {
#ifdef __x86_64__
  if (avx2Pays(length)) return encodeAvx2(dst, src, length);
#endif
  return hasVectors ? encodeVector(dst, src, length) : encodeGeneric(dst, src, length);
}

bool decode(unsigned char* dst, unsigned char const* src, unsigned int length) {
#ifdef __x86_64__
  if (avx2Pays(length)) return decodeAvx2(dst, src, length);
#endif
  return hasVectors ? decodeVector(dst, src, length) : decodeGeneric(dst, src, length);
}

}  // namespace base128
