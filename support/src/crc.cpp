#include "nkSupport/crc.h"

#include <cstdint>

#include "bytes.h"

// The bytes are the coefficients of a polynomial M over {0, 1}, highest power of x first, and the
// CRC is the remainder of M * x^8 modulo P = x^8 + x^2 + x + 1. Since P divides x^127 + 1, x^127
// counts as 1. So blocks of 127 bytes (8 * 127 bits) may simply be added up (XOR) and divided as
// one, and going on by 16 bytes (128 bits) takes one multiplication by x.
namespace {

/// 16 successive bytes, each of them a remainder modulo P by itself.
using tLanes [[gnu::vector_size(16)]] = std::uint32_t;

constexpr unsigned int period = 127;
/// Two blocks and more are worth adding up.
constexpr unsigned int directLimit = 2 * period;

inline tLanes timesX(tLanes lanes) {
  tLanes const high = lanes & 0x80808080U;
  // x^8 = x^2 + x + 1: of each byte, 0x80 becomes 0x08 - 0x01.
  return ((lanes ^ high) << 1) ^ ((high >> 4) - (high >> 7));
}

/// The first 1 to 16 bytes as the last of 16 lanes, `initial` added to the very first.
inline tLanes first(unsigned char initial, unsigned char const* src, unsigned int length) {
  using tHalves [[gnu::vector_size(16)]] = std::uint64_t;
  tHalves halves{};
  if (length <= 8) {
    halves[1] = (bytes::loadShort(src, length) ^ initial) << 8 * (8 - length);
  } else {
    halves[0] = (bytes::load<std::uint64_t>(src) ^ initial) << 8 * (16 - length);
    halves[1] = bytes::load<std::uint64_t>(src + length - 8);
  }
  return reinterpret_cast<tLanes>(halves);
}

/// The remainder of at least one byte, 16 bytes at a time.
inline tLanes direct(unsigned char initial, unsigned char const* src, unsigned int length) {
  unsigned int pos = (length - 1) % 16 + 1;
  tLanes lanes = first(initial, src, pos);
  for (; pos < length; pos += 16) lanes = timesX(lanes) ^ bytes::load<tLanes>(src + pos);
  return lanes;
}

/// The remainder of the sum of `count` blocks, at least one. Reads the byte before them.
inline tLanes addedUp(unsigned char const* src, unsigned int count) {
  // Read as 128 bytes each, of which the first belongs to the block before.
  src -= 1;
  tLanes sum[8];
  for (unsigned int i = 0; i < 8; ++i) sum[i] = bytes::load<tLanes>(src + 16 * i);
  while (--count > 0) {
    src += period;
    for (unsigned int i = 0; i < 8; ++i) sum[i] ^= bytes::load<tLanes>(src + 16 * i);
  }
  tLanes lanes = sum[0] & tLanes{~0xffU, ~0U, ~0U, ~0U};
  for (unsigned int i = 1; i < 8; ++i) lanes = timesX(lanes) ^ sum[i];
  return lanes;
}

/// Brings bits from `k` upwards down: x^k = x^(k/4) + x^(k/8) + 1 for k = 8, 16, 32 and 64, each
/// the square of the one before.
template <unsigned int k>
std::uint64_t fold(std::uint64_t value) {
  std::uint64_t const high = value >> k;
  return (value & ((std::uint64_t{1} << k) - 1)) ^ high ^ high << k / 8 ^ high << k / 4;
}

inline unsigned char crcOf(tLanes lanes) {
  auto const* const first8 = reinterpret_cast<unsigned char const*>(&lanes);
  std::uint64_t const high = __builtin_bswap64(bytes::load<std::uint64_t>(first8));
  std::uint64_t const low = __builtin_bswap64(bytes::load<std::uint64_t>(first8 + 8));
  // fold<64>, twice, in 64 bits: `over` is what the first leaves above them.
  std::uint64_t const over = high >> 56 ^ high >> 48;
  std::uint64_t value = low ^ high ^ high << 8 ^ high << 16 ^ over ^ over << 8 ^ over << 16;
  value = fold<32>(value) << 8;                                // to 40 bits, times x^8
  value = fold<16>(fold<32>(value));                           // to 32, to 20 bits
  return static_cast<unsigned char>(fold<8>(fold<8>(value)));  // to 14, to 8 bits
}

}  // namespace

unsigned char crc_crc8init(unsigned char const* buffer, unsigned int length) {
  return crc_crc8(0xff, buffer, length);
}

unsigned char crc_crc8(unsigned char crc, unsigned char const* buffer, unsigned int length) {
  if (length == 0) return crc;
  unsigned int const head = length <= directLimit ? length : (length - 1) % period + 1;
  tLanes lanes = direct(crc, buffer, head);
  // Whole blocks follow, and x^127 = 1: the head's remainder is the same behind them.
  if (head < length) lanes ^= addedUp(buffer + head, (length - head) / period);
  return crcOf(lanes);
}
