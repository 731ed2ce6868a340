#include "tools/nkexplain/hexDump.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view blanks = " \t\r,";

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(c | 0x20);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// True if `word` is the place in the dump at which it stands, and as long as the programs print it:
// more digits are bytes.
bool isOffset(std::string_view word, unsigned int bytesSoFar) {
  if (word.size() < 6 || word.size() > 8) return false;
  unsigned int value = 0;
  auto const result = std::from_chars(word.data(), word.data() + word.size(), value, 16);
  return result.ec == std::errc() && result.ptr == word.data() + word.size() && value == bytesSoFar;
}

bool addWord(std::string_view word, tBlob& bytes) {
  if (word.starts_with("0x") || word.starts_with("0X")) word.remove_prefix(2);
  if (word.size() % 2 != 0) return false;
  for (; !word.empty(); word.remove_prefix(2)) {
    int const high = digit(word[0]), low = digit(word[1]);
    if (high < 0 || low < 0) return false;
    auto const byte = static_cast<unsigned char>(high << 4 | low);
    if (!bytes.append(&byte, 1)) return false;
  }
  return true;
}

// Takes off what is no byte: comments, the characters behind a dump, the offset before it.
std::string_view bytesOf(std::string_view line, unsigned int bytesSoFar) {
  line = line.substr(0, line.find('#'));
  line = line.substr(0, line.find('|'));  // hexdump -C
  auto const begin = std::min(line.find_first_not_of(blanks), line.size());
  line.remove_prefix(begin);
  auto const word = line.substr(0, line.find_first_of(blanks));
  if (word.ends_with(':')) {  // xxd
    line.remove_prefix(word.size());
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    return line.substr(0, line.find("  "));
  }
  if (isOffset(word, bytesSoFar)) line.remove_prefix(word.size());
  return line;
}

}  // namespace

std::string nk_explain::readHexDump(std::string_view text, tBlob& bytes) {
  for (unsigned int number = 1; !text.empty(); ++number) {
    auto const end = std::min(text.find('\n'), text.size());
    auto line = bytesOf(text.substr(0, end), bytes.size());
    text.remove_prefix(std::min(end + 1, text.size()));
    for (;;) {
      line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
      if (line.empty()) break;
      auto const word = line.substr(0, line.find_first_of(blanks));
      if (!addWord(word, bytes)) {
        return "line " + std::to_string(number) + ": \"" + std::string(word) +
               "\" is no hexadecimal text";
      }
      line.remove_prefix(word.size());
    }
  }
  return {};
}
