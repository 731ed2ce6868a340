#pragma once

#include <chrono>
#include <string>

/// "312 bytes", "1.5 KiB", "10.0 MiB".
std::string bytesText(double bytes);
/// A line of at most `columns` on how much of a transfer is done after `seconds`: the name, a bar,
/// the share, and the rate with the time that the rest will take at it, which are left out while
/// nobody can know. Where there is too little room the name is cut in its middle, then the bar
/// goes, then the rate.
std::string progressLine(std::string const& name, unsigned long long gone, unsigned long long all,
                         double seconds, unsigned int columns);

/// Tells on standard error how a transfer goes on: on a terminal with a bar that moves, elsewhere
/// with a line for each tenth. A bar that does not come to its end is left on a line of its own.
class tProgress {
 public:
  /// Of `size` bytes with that name.
  tProgress(std::string const& name, unsigned long long size);
  /// The part `gone` of `all` is done, in whatever unit; to be called as often as one likes. `all`
  /// is 0 when the transfer has failed.
  void report(unsigned long long gone, unsigned long long all);

 private:
  using tClock = std::chrono::steady_clock;

  std::string const m_name;
  unsigned long long const m_size;
  bool const m_terminal;
  tClock::time_point const m_start = tClock::now();
  tClock::time_point m_drawn{};
  bool m_open = false;        // the bar stands there without a line end
  unsigned int m_tenths = 0;  // that have been told
};
