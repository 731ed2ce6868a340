#include "tools/nkctl/progress.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

#include "tools/common/program.h"
#include "tools/common/text.h"

namespace {

constexpr std::chrono::milliseconds redrawTime{100};
constexpr unsigned int barWidth = 24;

unsigned int share(unsigned long long gone, unsigned long long all, unsigned int parts) {
  return all == 0 ? parts : static_cast<unsigned int>(gone * parts / all);
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

std::string progressBar(std::string const& name, unsigned long long gone, unsigned long long all,
                        double seconds) {
  auto const filled = share(gone, all, barWidth);
  auto line = name + "  [" + std::string(filled, '#') + std::string(barWidth - filled, '-') + "] " +
              std::to_string(share(gone, all, 100)) + " %";
  if (gone == 0 || seconds <= 0) return line;
  auto const rate = static_cast<double>(gone) / seconds;
  auto const left =
      static_cast<unsigned long long>(std::ceil(static_cast<double>(all - gone) / rate));
  char rest[40];
  std::snprintf(rest, sizeof rest, "/s  %llu:%02llu left", left / 60, left % 60);
  return line + "  " + bytesText(rate) + rest;
}

tProgress::tProgress(std::string const& name)
    : m_name(nk_tools::printable(name)), m_terminal(::isatty(STDERR_FILENO) != 0) {}

void tProgress::report(unsigned long long gone, unsigned long long all) {
  bool const done = gone >= all;
  if (m_terminal) {
    auto const now = tClock::now();
    if (!done && now - m_drawn < redrawTime) return;
    m_drawn = now;
    auto const seconds = std::chrono::duration<double>(now - m_start).count();
    // Back to the first column; behind the bar, whatever an earlier one left there is erased.
    std::fprintf(stderr, "\r%s\x1b[K%s", progressBar(m_name, gone, all, seconds).c_str(),
                 done ? "\n" : "");
    return;
  }
  auto const tenths = share(gone, all, 10);
  if (tenths <= m_tenths) return;
  m_tenths = tenths;
  nk_tools::say(m_name + " " + std::to_string(tenths) + "0 % of " +
                bytesText(static_cast<double>(all)));
}
