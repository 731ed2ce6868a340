#pragma once

#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "nkSupport/tJson.h"

/// A strict look at a JSON file before it is read: the readers of the library pass over what they
/// do not know, which is right for what peers send and wrong for what people write.

enum teJsonKind {
  JSON_TEXT,
  JSON_NUMBER,  ///< an integer within its limits
  JSON_FLAG,
  JSON_LIST,    ///< an array of objects
  JSON_MOMENT,  ///< an integer of 64 bits, or a text that parseMoment reads
};

/// One member that an object may have.
struct tJsonField {
  char const* key;
  teJsonKind kind;
  bool required = false;
  long long least = 0;                       ///< of a number
  unsigned long long most = 0;               ///< of a number
  std::span<tJsonField const> element = {};  ///< the members of a list's objects
};

/// A member that is an integer of the type Number, from `least` on.
template <class Number>
constexpr tJsonField jsonNumber(
    char const* key, bool required = false,
    long long least = static_cast<long long>(+std::numeric_limits<Number>::min())) {
  return {key, JSON_NUMBER, required, least, std::numeric_limits<Number>::max()};
}
constexpr tJsonField jsonText(char const* key, bool required = false) {
  return {key, JSON_TEXT, required};
}

/// What is wrong with `text`, with its place, such as "line 9: schedules[2].entries[0].uid ...";
/// the empty text if it is one JSON object with these members and no others, none of them twice.
std::string shapeProblem(std::string_view text, std::span<tJsonField const> fields);

/// Reads the file, "-" for standard input, into `json` if it has this shape. The empty text, or
/// what is wrong, beginning with the name of the file.
std::string readShaped(std::string const& name, std::span<tJsonField const> fields, tJson& json);
