#include "tools/common/text.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace {

using nk_tools::tCharacter;

// The characters that stand for bytes which are not UTF-8: of no script, and named for this use.
constexpr unsigned int firstByteCharacter = 0xEF80;
constexpr unsigned int lastByteCharacter = 0xEFFF;

// Members of the messages' JSON whose numbers take 64 bits.
constexpr std::string_view wideKeys[] = {"uid", "imageUid", "extState"};

struct tRange {
  unsigned int first, last;
};

constexpr tRange controls[] = {{0, 0x1F}, {0x7F, 0x9F}};
constexpr tRange invisibles[] = {{0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x2029},
                                 {0x202A, 0x202E}, {0x2066, 0x2069}, {0xFEFF, 0xFEFF}};

template <std::size_t count>
bool isIn(tRange const (&ranges)[count], unsigned int code) {
  return std::any_of(std::begin(ranges), std::end(ranges), [code](tRange const& range) {
    return code >= range.first && code <= range.last;
  });
}

unsigned char byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// The length that a character's first byte announces; 0 if no character begins with it.
unsigned int sizeOf(unsigned char first) {
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

// Decodes a character of `size` bytes; false if they are none. RFC 3629.
bool decode(std::string_view text, unsigned int size, unsigned int& code) {
  constexpr unsigned int least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (size == 0 || size > text.size()) return false;
  code = size == 1 ? byteAt(text, 0) : byteAt(text, 0) & (0xFFu >> (size + 1));
  for (unsigned int i = 1; i < size; ++i) {
    if ((byteAt(text, i) & 0xC0u) != 0x80) return false;
    code = code << 6 | (byteAt(text, i) & 0x3Fu);
  }
  bool const surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code >= least[size] && code <= 0x10FFFF && !surrogate;
}

void appendEscape(std::string& out, unsigned int code) {
  constexpr char digits[] = "0123456789abcdef";
  out += "\\u";
  for (unsigned int shift = 16; shift != 0;) out += digits[code >> (shift -= 4) & 15];
}

void appendBytes(std::string& out, std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size(); ++i) appendEscape(out, 0xEF00u + byteAt(bytes, i));
}

// Appends the beginning of a JSON text as strictJson has it: all that is printable ASCII, or the
// one character that is not. Returns its size.
std::size_t appendStrict(std::string& out, std::string_view json) {
  auto const isAscii = [](char c) { return c >= ' ' && c < 0x7F; };
  auto const ascii =
      static_cast<std::size_t>(std::find_if_not(json.begin(), json.end(), isAscii) - json.begin());
  out += json.substr(0, ascii);
  if (ascii != 0) return ascii;
  auto const one = nk_tools::firstCharacter(json);
  auto const bytes = json.substr(0, one.size);
  bool const standsForByte = one.code >= firstByteCharacter && one.code <= lastByteCharacter;
  if (one.kind == nk_tools::CHARACTER_BROKEN || standsForByte) {
    appendBytes(out, bytes);
  } else if (one.kind == nk_tools::CHARACTER_PLAIN || one.code < ' ') {
    out += bytes;  // JSON escapes C0 itself: what is left of it stands between the values
  } else {
    appendEscape(out, one.code);
  }
  return one.size;
}

// True if a double does not hold the integer exactly, or would not hold others of this member.
bool isWide(std::string_view key, std::string_view digits) {
  constexpr long long exact = 1LL << 53;
  if (std::find(std::begin(wideKeys), std::end(wideKeys), key) != std::end(wideKeys)) return true;
  long long value = 0;
  auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return read.ec != std::errc() || value > exact || value < -exact;
}

// The length of the string, with both quotation marks, that `json` begins with.
std::size_t stringSize(std::string_view json) {
  std::size_t at = 1;
  while (at < json.size() && json[at] != '"') at += json[at] == '\\' ? 2u : 1u;
  return std::min(at + 1, json.size());
}

}  // namespace

tCharacter nk_tools::firstCharacter(std::string_view text) {
  auto const size = sizeOf(byteAt(text, 0));
  unsigned int code = 0;
  if (!decode(text, size, code)) return {CHARACTER_BROKEN, byteAt(text, 0), 1};
  if (isIn(controls, code)) return {CHARACTER_CONTROL, code, size};
  return {isIn(invisibles, code) ? CHARACTER_INVISIBLE : CHARACTER_PLAIN, code, size};
}

std::string nk_tools::printable(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    auto const one = firstCharacter(text);
    if (one.kind == CHARACTER_PLAIN) {
      clean += text.substr(0, one.size);
    } else {
      clean += '?';
    }
    text.remove_prefix(one.size);
  }
  return clean;
}

std::string nk_tools::strictJson(std::string_view json) {
  std::string strict;
  std::string_view key, last;  // the key whose value follows, and the last string
  while (!json.empty()) {
    std::size_t size = 1;
    if (json[0] == '"') {
      size = stringSize(json);
      last = json.substr(1, size - std::min<std::size_t>(size, 2));
      for (std::size_t at = 0; at < size;) at += appendStrict(strict, json.substr(at, size - at));
    } else {
      auto const digits = std::min(json.find_first_not_of("-0123456789"), json.size());
      bool const wide = digits != 0 && isWide(key, json.substr(0, digits));
      size = std::max<std::size_t>(digits, 1);
      strict.append(wide ? "\"" : "").append(json.substr(0, size)).append(wide ? "\"" : "");
      key = json[0] == ':' ? last : std::string_view();
    }
    json.remove_prefix(size);
  }
  return strict;
}
