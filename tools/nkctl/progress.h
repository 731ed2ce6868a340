#pragma once

#include <chrono>
#include <string>

/// "312 bytes", "1.5 KiB", "10.0 MiB".
std::string bytesText(double bytes);
/// A bar of how much of a transfer is done after `seconds`, with its rate and the time that the
/// rest will take at it; both are left out while nobody can know.
std::string progressBar(std::string const& name, unsigned long long gone, unsigned long long all,
                        double seconds);

/// Tells on standard error how a transfer goes on: on a terminal with a bar that moves, elsewhere
/// with a line for each tenth.
class tProgress {
 public:
  explicit tProgress(std::string const& name);
  /// `gone` bytes of `all` are done; to be called as often as one likes.
  void report(unsigned long long gone, unsigned long long all);

 private:
  using tClock = std::chrono::steady_clock;

  std::string const m_name;
  bool const m_terminal;
  tClock::time_point const m_start = tClock::now();
  tClock::time_point m_drawn{};
  unsigned int m_tenths = 0;  // that have been told
};
