#pragma once

#include <memory>
#include <string_view>

#include "nkSupport/export.h"
#include "nkSupport/tBlob.h"
#include "nkSupport/tString.h"
#include "nkSupport/tStringList.h"

/// A JSON object whose members keep the order in which they were added. Source: RFC 8259.
///
/// Adding a key that is already there replaces its value and keeps its place. Of members that a
/// text names twice the first is seen. Texts pass through byte for byte; what JSON must escape is
/// escaped. Not synchronised.
class NK_SUPPORT_API tJson {
 public:
  /// Text that nests deeper is refused.
  static constexpr unsigned int maxDepth = 64;

  /// The empty object.
  tJson();
  ~tJson();
  /// Copies are deep and cost as much as the object is large; an object moved from is empty.
  tJson(tJson const& other);
  tJson(tJson&& other) noexcept;
  tJson& operator=(tJson const& other);
  tJson& operator=(tJson&& other) noexcept;

  /// Back to the empty object.
  void clear();
  /// Replaces this object by that of `text`. False, with this object empty, if the text is not one
  /// JSON object or nests deeper than maxDepth. Time and memory are linear in the text.
  bool parse(std::string_view text);
  /// The object as text: compact, without any blank, or with `pretty` indented by 4 blanks. The
  /// empty text if memory runs out or the text passes tBlob::maxSize.
  tString getJson(bool pretty) const;

  /// Stores any bytes; those that are not UTF-8 stay as they are.
  void addString(char const* key, tString const& value);
  /// Returns the value that the key now has.
  long long addInt(char const* key, long long value);
  /// As addInt, for numbers up to 2^64 - 1.
  unsigned long long addUInt64(char const* key, unsigned long long value);
  /// Stores true or false, which getInt() does not take for a number.
  void addBool(char const* key, bool value);
  /// Stores the bytes as base64 text.
  void addBinary(char const* key, tBlob const& value);
  /// Stores the texts in order; an empty list gives an empty array.
  void addStringArray(char const* key, tStringList const& values);
  /// Appends `element` to the array `key`, which is created if it is missing or is no array. The
  /// second form takes the element's content and leaves it empty; it costs O(1).
  void addToArray(char const* key, tJson const& element);
  void addToArray(char const* key, tJson&& element);

  /// True if the object has a member of that name, whatever its kind.
  bool has(char const* key) const;
  /// The text of the key; the empty text if it is missing or is no text.
  tString getString(char const* key) const;
  /// The integer of the key; `fallback` if it is missing or is no integer of 64 bits. An integer
  /// from 2^63 on comes as the signed number of the same 64 bits.
  long long getInt(char const* key, long long fallback) const;
  /// The truth value of the key; `fallback` if it is missing or of another kind, numbers included.
  bool getBool(char const* key, bool fallback) const;
  /// Replaces `out` by the bytes of the key's base64 text. False, with `out` empty, if the key is
  /// missing or is no such text.
  bool getBinary(char const* key, tBlob& out) const;
  /// Replaces `out` by the texts of the array; elements of other kinds count as empty texts. False,
  /// with `out` empty, if the key is missing or is no array.
  bool getStringArray(char const* key, tStringList& out) const;
  /// Replaces `out` by a copy of the object at `index` of the array `key`. False, with `out` empty,
  /// if there is no such array, the index is past its end, or the element is no object. Walking an
  /// array by rising index costs O(1) per element besides the copy.
  bool getArrayObject(char const* key, unsigned int index, tJson& out) const;
  /// Number of elements of the array `key`; 0 if there is no such array.
  unsigned int getArraySize(char const* key) const;

 private:
  struct tImpl;
  std::unique_ptr<tImpl> m_impl;
};
