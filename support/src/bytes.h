#pragma once

#include <cstdint>
#include <cstring>

/// Loads and stores at any address, in the order of bytes of the machine. Internal to the library.
namespace bytes {

template <class tValue>
[[gnu::always_inline]] inline tValue load(unsigned char const* src) {
  tValue value;
  std::memcpy(&value, src, sizeof value);
  return value;
}

template <class tValue>
[[gnu::always_inline]] inline void store(unsigned char* dst, tValue value) {
  std::memcpy(dst, &value, sizeof value);
}

/// The first and the last bytes of `n` bytes as one number; they overlap if `n` is odd.
template <class tHalf>
[[gnu::always_inline]] inline std::uint64_t loadEnds(unsigned char const* src, unsigned int n) {
  unsigned int const second = n - static_cast<unsigned int>(sizeof(tHalf));
  return load<tHalf>(src) | std::uint64_t{load<tHalf>(src + second)} << 8 * second;
}
template <class tHalf>
[[gnu::always_inline]] inline void storeEnds(unsigned char* dst, unsigned int n, std::uint64_t v) {
  unsigned int const second = n - static_cast<unsigned int>(sizeof(tHalf));
  store(dst, static_cast<tHalf>(v));
  store(dst + second, static_cast<tHalf>(v >> 8 * second));
}

/// The number in 1 to 8 bytes, lowest byte first, without a loop.
[[gnu::always_inline]] inline std::uint64_t loadShort(unsigned char const* src, unsigned int n) {
  if (n >= 4) return loadEnds<std::uint32_t>(src, n);
  return n >= 2 ? loadEnds<std::uint16_t>(src, n) : *src;
}
/// Stores the lowest 1 to 8 bytes of `value`, lowest byte first.
[[gnu::always_inline]] inline void storeShort(unsigned char* dst, unsigned int n,
                                              std::uint64_t value) {
  if (n >= 4) return storeEnds<std::uint32_t>(dst, n, value);
  if (n >= 2) return storeEnds<std::uint16_t>(dst, n, value);
  *dst = static_cast<unsigned char>(value);
}

}  // namespace bytes
