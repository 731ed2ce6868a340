#pragma once

#include <bit>

/// Numbers of variable length, as both compressions write them: 7 bits per byte, lowest bits first,
/// the high bit set in every byte but the last. Always the shortest form.
namespace varint {

/// Bytes of `value`: 1 to 5.
constexpr unsigned int size(unsigned int value) {
  return (static_cast<unsigned int>(std::bit_width(value | 1)) + 6) / 7;
}

/// Writes size(value) bytes to `to` and returns the place behind them.
inline unsigned char* write(unsigned char* to, unsigned int value) {
  for (; value > 0x7F; value >>= 7) *to++ = static_cast<unsigned char>(value | 0x80);
  *to++ = static_cast<unsigned char>(value);
  return to;
}

/// Reads one number and moves `from` behind it. False if it does not end before `end`, is not in
/// its shortest form or does not fit into 32 bits.
inline bool read(unsigned char const*& from, unsigned char const* end, unsigned int& value) {
  if (from == end) return false;
  value = *from++;
  if (value < 0x80) return true;
  value &= 0x7F;
  for (unsigned int shift = 7; shift < 35 && from != end; shift += 7) {
    unsigned int const bits = *from++;
    if (shift == 28 && bits > 0x0F) return false;
    value |= (bits & 0x7F) << shift;
    if (bits < 0x80) return bits != 0;
  }
  return false;
}

}  // namespace varint
