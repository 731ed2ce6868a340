#pragma once

#include <string>
#include <string_view>

/// What every program here has in common: its exit status and how it speaks to people.
namespace nk_tools {

/// The exit status of every program; exitHelp says what each means.
enum teExit {
  STATUS_OK = 0,
  STATUS_OTHER = 1,
  STATUS_USAGE = 2,
  STATUS_LINK = 3,
  STATUS_TIMEOUT = 4,
  STATUS_PROTOCOL = 5,
  STATUS_DIFFERS = 6,
};

/// The lines of --help on the exit statuses up to `last`.
std::string exitHelp(teExit last);

/// Stands before every line on standard error. Set once, first thing in main.
inline char const* programName = "";

/// Finds control characters in a text, byte by byte: those below 0x20, 0x7f, and 0x80 to 0x9f, in
/// UTF-8 (0xc2 before them) and as single bytes that belong to no character of UTF-8.
class tControlFinder {
 public:
  /// True if the text's next byte, `c`, is a control character or ends one.
  bool next(char c);

 private:
  unsigned int m_expected = 0;  // bytes that belong to the character that has begun
  unsigned char m_last = 0;
};
/// `text` with question marks for control characters: texts of peers and files must not steer the
/// terminal.
std::string printable(std::string_view text);
/// Writes one line to standard error.
void say(std::string_view text);

}  // namespace nk_tools
