#pragma once

#include <string_view>

/// What every program here has in common: its exit status and how it speaks to people.
namespace nk_tools {

/// The exit status of both programs, as --help lists it.
enum teExit {
  STATUS_OK = 0,
  STATUS_OTHER = 1,     ///< no memory, or the output cannot be written
  STATUS_USAGE = 2,     ///< wrong command line or unreadable input file
  STATUS_LINK = 3,      ///< the link cannot be opened
  STATUS_TIMEOUT = 4,   ///< no answer in time
  STATUS_PROTOCOL = 5,  ///< the link broke before the work was done, or an unexpected answer
};

/// Stands before every line on standard error. Set once, first thing in main.
inline char const* programName = "";

/// Writes one line to standard error.
void say(std::string_view text);

}  // namespace nk_tools
