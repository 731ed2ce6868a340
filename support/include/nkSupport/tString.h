#pragma once

#include <string>
#include <string_view>

#include "nkSupport/export.h"

/// A text of any bytes: zero bytes and bytes that are not UTF-8 pass through untouched; UTF-8 is
/// the convention for text meant for people. Comparison is bytewise.
///
/// Holds at most 2^32 - 1 bytes. Not synchronised: one owner at a time.
class NK_SUPPORT_API tString {
 public:
  /// The empty text.
  tString() = default;
  /// Copies the text up to its terminating zero; a null pointer gives the empty text.
  tString(char const* text);  // NOLINT: implicit on purpose, literals stand for texts
  /// Copies all bytes of `text`, zero bytes included.
  explicit tString(std::string_view text);
  /// Copies `count` bytes from `bytes`, which may be null if `count` is 0.
  tString(char const* bytes, unsigned int count);

  /// The bytes, followed by a zero byte. Valid until the text is changed or destroyed.
  char const* c_str() const { return m_text.c_str(); }
  /// The bytes as a view, valid as long as c_str().
  std::string_view view() const { return m_text; }
  /// Number of bytes, the terminating zero not counted.
  unsigned int length() const { return static_cast<unsigned int>(m_text.size()); }
  /// True if length() is 0; a text of one zero byte is not empty.
  bool empty() const { return m_text.empty(); }
  /// Makes this the empty text.
  void clear() { m_text.clear(); }
  /// Replaces the text by `count` bytes from `bytes` (null allowed if `count` is 0).
  void assign(char const* bytes, unsigned int count);

  /// Appends all bytes of `tail`, which may be this text.
  tString& operator+=(tString const& tail);
  /// A new text: the bytes of `head`, then those of `tail`.
  friend tString operator+(tString const& head, tString const& tail) {
    tString joined(head);
    joined += tail;
    return joined;
  }
  /// Byte by byte, zero bytes included.
  bool operator==(tString const& other) const { return m_text == other.m_text; }
  bool operator!=(tString const& other) const { return m_text != other.m_text; }
  /// Order of the bytes, taken as unsigned numbers.
  bool operator<(tString const& other) const { return m_text < other.m_text; }

  /// Decimal digits of `value`, without leading zeros; a minus sign for negative numbers.
  static tString fromUInt64(unsigned long long value);
  static tString fromInt64(long long value);
  /// The whole text as a decimal number with optional sign; `fallback` if it is anything else
  /// (empty, blanks, other characters, out of the range of int).
  int toIntDef(int fallback) const;

  /// The bytes before the first occurrence of `separator`; the whole text if it does not occur or
  /// is empty.
  tString strBefor(tString const& separator) const;
  /// The bytes behind the first occurrence of `separator`; the empty text if it does not occur or
  /// is empty.
  tString strAfter(tString const& separator) const;
  /// Takes the text as a directory and appends "/" unless it ends in one, so that a file name can
  /// follow. The empty text, the current directory, stays empty. Returns this text.
  tString& completePath();

 private:
  std::string m_text;
};
