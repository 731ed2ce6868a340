#pragma once

#include <string>
#include <string_view>

/// How text that peers and files bring goes out. Every program sends such text through this file,
/// so that it neither steers a terminal nor breaks a program that reads JSON.
namespace nk_tools {

/// What a program must know about a character before it shows it.
enum teCharacter {
  CHARACTER_PLAIN,
  CHARACTER_CONTROL,    ///< C0 (U+0000 to U+001F), DEL, and C1 (U+0080 to U+009F)
  CHARACTER_INVISIBLE,  ///< changes reading direction or line, or is a byte order mark
  CHARACTER_BROKEN,     ///< a byte that belongs to no character of UTF-8
};

struct tCharacter {
  teCharacter kind;
  unsigned int code;  ///< the code point, or the byte if it is broken
  unsigned int size;  ///< in bytes, 1 to 4
};

/// The first character of `text`, which must not be empty.
tCharacter firstCharacter(std::string_view text);

/// `text` for terminals and log lines, as well-formed UTF-8: each character that is not plain
/// becomes one question mark.
std::string printable(std::string_view text);

/// A JSON text, whose strings may hold any bytes, as strict parsers and JavaScript take it:
/// - Well-formed UTF-8. A byte that is not UTF-8 becomes the character U+EF00 + byte, written as
///   \uef80 to \uefff. These characters stand for nothing else: where a text holds one of them, its
///   three bytes are written in the same way. So the bytes can be recovered.
/// - Characters that are not plain are written as \uXXXX, so that a terminal may show the line.
/// - Integers that a double may round are texts: those of the members "uid", "imageUid" and
///   "extState", and any other beyond 2^53.
/// `json` must be compact; numbers with fraction or exponent are not expected.
std::string strictJson(std::string_view json);

}  // namespace nk_tools
