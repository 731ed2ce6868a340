#include "tools/common/program.h"

#include <poll.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>

#include "tools/common/text.h"

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

std::string lastFailure;

}  // namespace

std::string nk_tools::exitHelp(teExit last) {
  std::string help = "Exit status:";
  for (unsigned int i = 0; i <= last; ++i)
    help.append("\n  ").append(std::to_string(i)).append("  ").append(exitTexts[i]);
  return help;
}

char const* nk_tools::exitText(teExit status) { return exitTexts[status]; }

void nk_tools::say(std::string_view text) {
  std::string line(programName);
  line.append(": ").append(printable(text)).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);  // in one piece, so that lines stay whole
}

void nk_tools::sayEngine(void*, char const* text) {
  std::string line;
  for (std::string_view rest(text); !rest.empty();) {
    char const* const end = rest.data() + rest.size();
    long long number = 0;
    bool const begins = rest[0] == '-' && (line.ends_with(' ') || line.ends_with('('));
    auto const read = std::from_chars(rest.data(), end, number);
    bool const isNegative = begins && read.ec == std::errc();
    auto const size = isNegative ? static_cast<std::size_t>(read.ptr - rest.data()) : 1;
    if (isNegative) {
      line += std::to_string(static_cast<unsigned int>(number));
    } else {
      line += rest[0];
    }
    rest.remove_prefix(size);
  }
  say(line);
}

nk_tools::teExit nk_tools::fail(teExit status, std::string_view problem) {
  lastFailure = problem;
  say(problem);
  return status;
}

std::string const& nk_tools::failure() { return lastFailure; }

bool nk_tools::readerGone() {
  pollfd output{STDOUT_FILENO, 0, 0};  // errors are told without being asked for
  return ::poll(&output, 1, 0) > 0;
}
