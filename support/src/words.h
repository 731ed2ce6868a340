#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// Machine words at any address.
namespace words {

/// The widest word that shifts in one instruction.
using tWord = std::conditional_t<sizeof(void*) == 8, std::uint64_t, std::uint32_t>;
constexpr unsigned int bits = 8 * sizeof(tWord);

constexpr tWord swapped(tWord word) {
  if constexpr (sizeof(tWord) == 8) return __builtin_bswap64(word);
  return static_cast<tWord>(__builtin_bswap32(static_cast<std::uint32_t>(word)));
}

/// The word at `bytes`, the first byte lowest.
inline tWord loadLittle(unsigned char const* bytes) {
  tWord word;
  std::memcpy(&word, bytes, sizeof word);
  return std::endian::native == std::endian::little ? word : swapped(word);
}
/// The word at `bytes`, the first byte highest.
inline tWord loadBig(unsigned char const* bytes) { return swapped(loadLittle(bytes)); }
/// Writes `word`, the highest byte first.
inline void storeBig(unsigned char* bytes, tWord word) {
  if (std::endian::native == std::endian::little) word = swapped(word);
  std::memcpy(bytes, &word, sizeof word);
}

}  // namespace words
