#include "tools/nkctl/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include "tools/common/program.h"
#include "tools/common/text.h"

namespace {

constexpr std::chrono::milliseconds redrawTime{100};
constexpr std::size_t longestBar = 24, shortestBar = 8, shortestName = 12;

unsigned long long share(unsigned long long gone, unsigned long long all,
                         unsigned long long parts) {
  if (gone >= all) return parts;
  // Not in integers: the product of two sizes may be too large for them.
  auto const exact = static_cast<double>(gone) / static_cast<double>(all);
  return static_cast<unsigned long long>(exact * static_cast<double>(parts));
}

// Where the characters of UTF-8 begin, and the end.
std::vector<std::size_t> characters(std::string const& text) {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < text.size(); ++i)
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) places.push_back(i);
  places.push_back(text.size());
  return places;
}

// With at most `most` characters, those in the middle left out.
std::string shortened(std::string const& text, std::size_t most) {
  auto const places = characters(text);
  auto const count = places.size() - 1;
  if (count <= most) return text;
  constexpr std::size_t dots = 3;
  if (most <= dots) return text.substr(0, places[most]);
  auto const head = (most - dots) / 2, tail = most - dots - head;
  return text.substr(0, places[head]) + "..." + text.substr(places[count - tail]);
}

unsigned int terminalColumns() {
  winsize size{};
  bool const known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
  return known ? size.ws_col : 80;
}

}  // namespace

std::string bytesText(double bytes) {
  char text[40];
  constexpr double kibi = 1024;
  if (bytes < kibi) {
    std::snprintf(text, sizeof text, "%.0f bytes", bytes);
  } else if (bytes < kibi * kibi) {
    std::snprintf(text, sizeof text, "%.1f KiB", bytes / kibi);
  } else {
    std::snprintf(text, sizeof text, "%.1f MiB", bytes / kibi / kibi);
  }
  return text;
}

std::string progressLine(std::string const& name, unsigned long long gone, unsigned long long all,
                         double seconds, unsigned int columns) {
  auto const percent = std::to_string(share(gone, all, 100)) + " %";
  std::string rate;
  if (gone != 0 && seconds > 0) {
    auto const perSecond = static_cast<double>(gone) / seconds;
    auto const left =
        static_cast<unsigned long long>(std::ceil(static_cast<double>(all - gone) / perSecond));
    char rest[40];
    std::snprintf(rest, sizeof rest, "/s  %llu:%02llu left", left / 60, left % 60);
    rate = "  " + bytesText(perSecond) + rest;
  }
  // What is left for the others beside a name of that many characters.
  auto const besides = [&](std::size_t nameSize) {
    auto const taken = nameSize + 2 + percent.size() + rate.size();
    return columns > taken ? columns - taken : 0;
  };
  auto const whole = characters(name).size() - 1, least = std::min(whole, shortestName);
  if (besides(least) == 0) rate.clear();
  constexpr std::size_t brackets = 3;
  auto const room = std::max(besides(whole), std::min(besides(least), shortestBar + brackets));
  auto const bar = std::min(room - std::min(room, brackets), longestBar);
  bool const barred = bar >= shortestBar;
  auto const left = besides(0) - std::min(besides(0), barred ? bar + brackets : 0);
  auto line = shortened(name, left) + "  ";
  if (barred) {
    auto const filled = static_cast<std::size_t>(share(gone, all, bar));
    line += "[" + std::string(filled, '#') + std::string(bar - filled, '-') + "] ";
  }
  return shortened(line + percent + rate, columns);
}

tProgress::tProgress(std::string const& name, unsigned long long size)
    : m_name(nk_tools::printable(name)), m_size(size), m_terminal(::isatty(STDERR_FILENO) != 0) {}

void tProgress::report(unsigned long long gone, unsigned long long all) {
  if (all == 0) {
    if (std::exchange(m_open, false)) std::fputc('\n', stderr);
    return;
  }
  bool const done = gone >= all;
  if (m_terminal) {
    auto const now = tClock::now();
    if (!done && now - m_drawn < redrawTime) return;
    m_drawn = now;
    auto const seconds = std::chrono::duration<double>(now - m_start).count();
    // The last column stays free: some terminals begin a new line with it.
    auto const line =
        progressLine(m_name, share(gone, all, m_size), m_size, seconds, terminalColumns() - 1);
    // Back to the first column; behind the bar, whatever an earlier one left there is erased.
    std::fprintf(stderr, "\r%s\x1b[K%s", line.c_str(), done ? "\n" : "");
    m_open = !done;
    return;
  }
  auto const tenths = static_cast<unsigned int>(share(gone, all, 10));
  if (tenths <= m_tenths) return;
  m_tenths = tenths;
  nk_tools::say(m_name + " " + std::to_string(tenths) + "0 % of " +
                bytesText(static_cast<double>(m_size)));
}
