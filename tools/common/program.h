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
/// What one of them means, as exitHelp has it.
char const* exitText(teExit status);

/// Stands before every line on standard error. Set once, first thing in main.
inline char const* programName = "";

/// Writes one line to standard error, with text that is not printable replaced.
void say(std::string_view text);
/// The same for a line of the engine's log, which has ids and addresses as signed numbers: they
/// come out without sign, as everywhere else. Fits the hooks of links, which pass a context.
void sayEngine(void* context, char const* text);
/// Says why the program ends with `status`, and returns that. Only the main thread calls it.
teExit fail(teExit status, std::string_view problem);
/// What `fail` was last told; empty if it was not called.
std::string const& failure();
/// True if nobody reads standard output any more: it is a pipe whose reader has gone.
bool readerGone();

}  // namespace nk_tools
