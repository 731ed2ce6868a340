#include "tools/common/program.h"

#include <algorithm>
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

std::string nk_tools::printable(std::string_view text) {
  std::string clean(text);
  std::replace_if(
      clean.begin(), clean.end(),
      [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
  return clean;
}

void nk_tools::say(std::string_view text) {
  std::string line(programName);
  line.append(": ").append(printable(text)).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);  // in one piece, so that lines stay whole
}
