#include "tools/common/program.h"

#include <cstdio>

namespace {

// What each status means, in the order of the numbers. docs/programs.md has the same lines.
constexpr char const* exitTexts[] = {
    "done, or ended as told",
    "other failure: no memory, output or state cannot be written, state of another panel",
    "wrong command line, or a file that cannot be read or is not of its form",
    "the link cannot be opened",
    "no answer in time",
    "the link broke before the work was done, or an unexpected answer",
    "the panel holds something else than the station asked for or compared with",
};

}  // namespace

std::string nk_tools::exitHelp(teExit last) {
  std::string help = "Exit status:";
  for (unsigned int i = 0; i <= last; ++i)
    help.append("\n  ").append(std::to_string(i)).append("  ").append(exitTexts[i]);
  return help;
}

bool nk_tools::tControlFinder::next(char c) {
  auto const byte = static_cast<unsigned char>(c);
  bool control = byte < 0x20 || byte == 0x7f;
  if (byte >= 0x80 && byte < 0xc0) {
    control = byte < 0xa0 && (m_expected == 0 || m_last == 0xc2);
    if (m_expected != 0) --m_expected;
  } else {
    bool const begins = byte >= 0xc2 && byte <= 0xf4;  // other bytes begin no character
    m_expected = !begins ? 0 : byte >= 0xf0 ? 3 : byte >= 0xe0 ? 2 : 1;
  }
  m_last = byte;
  return control;
}

std::string nk_tools::printable(std::string_view text) {
  std::string clean(text);
  tControlFinder finder;
  for (char& c : clean)
    if (finder.next(c)) c = '?';
  return clean;
}

void nk_tools::say(std::string_view text) {
  std::string line(programName);
  line.append(": ").append(printable(text)).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);  // in one piece, so that lines stay whole
}
