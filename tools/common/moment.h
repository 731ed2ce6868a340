#pragma once

#include <string>

/// Reads a moment in UTC: whole seconds since 1970-01-01 00:00:00, with sign, or
/// "YYYY-MM-DD hh:mm:ss" as getStartTimeFromString of the library reads it, also written
/// "YYYY-MM-DDThh:mm:ssZ". Unlike there, text that is no moment of the calendar is refused, and so
/// is one past 2106-02-07 06:28:15, where the library's 32 bits end; seconds have no such limit.
/// False leaves `seconds` alone.
bool parseMoment(std::string const& written, long long& seconds);
/// "YYYY-MM-DD hh:mm:ss" for `seconds`; seconds outside of the years 0 to 9999 as a number.
std::string momentText(long long seconds);
/// Seconds of a day as hh:mm:ss; a number past 99 hours.
std::string clockText(unsigned int seconds);
