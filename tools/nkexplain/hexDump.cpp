#include "tools/nkexplain/hexDump.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "tools/common/files.h"

namespace {

constexpr std::string_view blanks = " \t\r,";

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(c | 0x20);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

std::string_view withoutBlanks(std::string_view line) {
  return line.substr(std::min(line.find_first_not_of(blanks), line.size()));
}

std::string_view firstWord(std::string_view line) {
  return line.substr(0, line.find_first_of(blanks));
}

// The place in a dump that `word` tells, if it is as long as those that the programs print: more
// digits are bytes.
std::optional<unsigned int> offsetOf(std::string_view word) {
  if (word.ends_with(':')) word.remove_suffix(1);  // xxd
  if (word.size() < 6 || word.size() > 8) return {};
  unsigned int value = 0;
  auto const result = std::from_chars(word.data(), word.data() + word.size(), value, 16);
  if (result.ec != std::errc() || result.ptr != word.data() + word.size()) return {};
  return value;
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

// Takes off the offset before the bytes, and the characters that xxd puts behind them.
std::string_view withoutOffset(std::string_view line, unsigned int bytesSoFar) {
  auto const word = firstWord(line);
  if (word.ends_with(':')) {
    line = withoutBlanks(line.substr(word.size()));
    return line.substr(0, line.find("  "));
  }
  return offsetOf(word) == bytesSoFar ? line.substr(word.size()) : line;
}

class tReader {
 public:
  explicit tReader(tBlob& bytes) : m_bytes(bytes) {}

  // Adds the bytes of one line. Returns what is wrong with it, "" if nothing is.
  std::string read(std::string_view line) {
    line = line.substr(0, line.find('#'));
    line = withoutBlanks(line.substr(0, line.find('|')));  // hexdump -C
    if (line.empty()) return {};
    auto const word = firstWord(line);
    if (m_squeezed) {
      if (auto fault = repeatUpTo(offsetOf(word)); !fault.empty()) return fault;
    } else if (word == "*" && !m_bytes.empty()) {
      m_squeezed = true;
      return {};
    }
    return addWords(withoutOffset(line, m_bytes.size()));
  }
  // What is wrong at the end, if anything is.
  std::string finish() { return m_squeezed ? repeatUpTo({}) : ""; }

 private:
  // Puts the lines in that a "*" stands for: they equal the one before it.
  std::string repeatUpTo(std::optional<unsigned int> end) {
    m_squeezed = false;
    if (!end || *end < m_bytes.size()) return "no offset tells how far the \"*\" before it goes";
    if (*end > nk_tools::largestContent) return "the \"*\" before it goes beyond 256 MiB";
    while (m_bytes.size() < *end) {
      // What is there already of whole lines, so that it doubles.
      auto const size = std::min(m_bytes.size() - m_line, *end - m_bytes.size());
      if (!m_bytes.append(m_bytes.data() + m_line, size)) return "needs too much memory";
    }
    return {};
  }
  std::string addWords(std::string_view line) {
    auto const begin = m_bytes.size();
    for (line = withoutBlanks(line); !line.empty(); line = withoutBlanks(line)) {
      auto const word = firstWord(line);
      if (!addWord(word, m_bytes)) return '"' + std::string(word) + "\" is no hexadecimal text";
      line.remove_prefix(word.size());
    }
    if (m_bytes.size() != begin) m_line = begin;
    return {};
  }

  tBlob& m_bytes;
  unsigned int m_line = 0;  // where the bytes of the last line begin
  bool m_squeezed = false;  // lines that equal it were left out
};

}  // namespace

std::string nk_explain::readHexDump(std::string_view text, tBlob& bytes) {
  tReader reader(bytes);
  std::string fault;
  unsigned int number = 0;
  for (; !text.empty() && fault.empty(); ++number) {
    auto const end = std::min(text.find('\n'), text.size());
    fault = reader.read(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (fault.empty()) fault = reader.finish();
  return fault.empty() ? fault : "line " + std::to_string(number) + ": " + fault;
}
