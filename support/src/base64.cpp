#include "nkSupport/base64.h"

#include <nettle/base64.h>

#include <array>
#include <string>

namespace {

constexpr unsigned char noDigit = 0xFF;

constexpr std::array<unsigned char, 256> valueTable() {
  std::array<unsigned char, 256> values{};
  values.fill(noDigit);
  unsigned char value = 0;
  for (char const digit :
       std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")) {
    values[static_cast<unsigned char>(digit)] = value++;
  }
  return values;
}
constexpr std::array<unsigned char, 256> values = valueTable();

unsigned int valueOf(char digit) { return values[static_cast<unsigned char>(digit)]; }

// The 24 bits of four digits; above 24 bits if one of them is no digit.
unsigned int groupOf(char const* digits) {
  unsigned int const a = valueOf(digits[0]), b = valueOf(digits[1]);
  unsigned int const c = valueOf(digits[2]), d = valueOf(digits[3]);
  unsigned int const bad = (a | b | c | d) & 0x80;
  return bad << 24 | a << 18 | b << 12 | c << 6 | d;
}

void put(unsigned char* to, unsigned int group, unsigned int count) {
  for (unsigned int i = 0; i < count; ++i) {
    to[i] = static_cast<unsigned char>(group >> (16 - 8 * i));
  }
}

// The last four characters: 1 to 3 bytes, padded. Unused bits must be zero, so that bytes have one
// text only.
bool putLast(unsigned char* to, char const* digits, unsigned int count) {
  char const full[4] = {digits[0], digits[1], count > 1 ? digits[2] : 'A',
                        count > 2 ? digits[3] : 'A'};
  unsigned int const group = groupOf(full);
  put(to, group, count);
  unsigned int const unused = 0xFFFFFFU >> (8 * count);
  return (group >> 24) == 0 && (group & unused) == 0;
}

bool decodeInto(tBlob& out, std::string_view text) {
  if (text.size() % 4 != 0 || text.size() / 4 > tBlob::maxSize / 3) return false;
  if (text.empty()) return true;
  unsigned int const wholeGroups = static_cast<unsigned int>(text.size() / 4 - 1);
  char const* digits = text.data();
  char const* const last = digits + text.size() - 4;
  unsigned int const lastCount = last[3] != '=' ? 3 : last[2] != '=' ? 2 : 1;
  unsigned char* to = out.extend(3 * wholeGroups + lastCount);
  if (to == nullptr) return false;
  unsigned int seen = 0;
  for (; digits != last; digits += 4, to += 3) {
    unsigned int const group = groupOf(digits);
    seen |= group;
    put(to, group, 3);
  }
  return (seen >> 24) == 0 && putLast(to, last, lastCount);
}

}  // namespace

tString base64::encode(tBlob const& bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(std::size_t{bytes.size()}), '\0');
  if (!bytes.empty()) base64_encode_raw(text.data(), bytes.size(), bytes.data());
  return tString(std::string_view(text));
}

bool base64::decode(tBlob& out, std::string_view text) {
  tBlob decoded;  // on its own, since `text` may lie in `out`
  bool const good = decodeInto(decoded, text);
  out.clear();
  if (good) out.swap(decoded);
  return good;
}
