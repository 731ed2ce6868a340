#pragma once

#include <array>
#include <bit>

/// Logarithms in whole numbers, to bound entropies with.
namespace logarithm {

/// Bits behind the point.
constexpr unsigned int fraction = 16;
/// above() lies above the logarithm by less than this.
constexpr unsigned int error = 4;

namespace detail {

// log2(1 + i / 256), rounded up.
constexpr std::array<unsigned int, 257> makeTable() {
  std::array<unsigned int, 257> table{};
  for (unsigned int i = 0; i < 256; ++i) {
    double power = 1 + i / 256.0;
    unsigned int log = 0;
    for (unsigned int bit = 0; bit < fraction; ++bit) {
      power *= power;
      log = 2 * log + (power >= 2);
      if (power >= 2) power /= 2;
    }
    table[i] = log + (power > 1);
  }
  table[256] = 1U << fraction;
  return table;
}
inline constexpr std::array<unsigned int, 257> table = makeTable();

}  // namespace detail

/// An upper bound of log2(x) for 0 < x < 2^31.
constexpr unsigned int above(unsigned int x) {
  unsigned int const whole = static_cast<unsigned int>(std::bit_width(x | 1)) - 1;
  unsigned int const mantissa = x << (31 - whole);
  unsigned int const index = mantissa >> 23 & 0xFF;
  unsigned int const from = detail::table[index], step = detail::table[index + 1] - from;
  unsigned int const between = (mantissa >> 7 & 0xFFFF) * step >> 16;
  // The logarithm bends away from the straight line by less than 1, and so much is rounded off.
  return (whole << fraction) + from + between + 2;
}

}  // namespace logarithm
