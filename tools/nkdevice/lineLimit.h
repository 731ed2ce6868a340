#pragma once

#include <chrono>
#include <string>

/// Bounds how many lines of one kind go to standard error, so that no peer can flood the log: 60 a
/// minute. The first line after that minute is preceded by the number of lines left out. Not
/// synchronised.
class tLineLimit {
 public:
  /// `about` names the kind of lines; it is borrowed.
  explicit tLineLimit(char const* about) : m_about(about) {}
  void say(std::string const& line);

 private:
  char const* m_about;
  std::chrono::steady_clock::time_point m_begun{};  // of the minute in which lines are counted
  unsigned int m_lines = 0;
};
