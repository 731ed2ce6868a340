#pragma once

#include <string>
#include <string_view>

#include "nkSupport/tBlob.h"

namespace harness {

/// The bytes that pairs of hexadecimal digits name; blanks are skipped.
inline tBlob hex(std::string digits) {
  std::erase(digits, ' ');
  tBlob bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    auto const byte = static_cast<unsigned char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    bytes.append(&byte, 1);
  }
  return bytes;
}

/// The bytes as pairs of digits with blanks between, as test failures show them best.
inline std::string toHex(tBlob const& bytes) {
  std::string text;
  for (unsigned int i = 0; i < bytes.size(); ++i) {
    if (i != 0) text += ' ';
    for (int const shift : {4, 0}) text += "0123456789abcdef"[bytes.data()[i] >> shift & 15];
  }
  return text;
}

inline tBlob bytes(std::string_view text) {
  return tBlob(text.data(), static_cast<unsigned int>(text.size()));
}

inline std::string text(tBlob const& bytes) {
  return std::string(reinterpret_cast<char const*>(bytes.data()), bytes.size());
}

/// Bytes without pattern, the same in each run, that no compression makes smaller.
inline tBlob noise(unsigned int size, unsigned int seed = 1) {
  tBlob bytes;
  unsigned char* out = bytes.extend(size);
  unsigned long long state = 0x9E3779B97F4A7C15ULL * (seed + 1ULL);
  for (unsigned int i = 0; i < size; ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    out[i] = static_cast<unsigned char>(state >> 32);
  }
  return bytes;
}

}  // namespace harness
