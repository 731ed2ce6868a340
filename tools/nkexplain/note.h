#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "nkSupport/tBlob.h"

/// What is found out about bytes, before it is printed one way or another.
namespace nk_explain {

/// A text, or a number with or without sign.
using tValue = std::variant<std::string, long long, unsigned long long>;

/// One field, and the bytes that it is made of.
struct tField {
  unsigned int offset = 0;  ///< within the frame's decoded body or the message
  unsigned int size = 0;    ///< in bytes
  std::string bytes;        ///< the first of them, as hexadecimal text
  std::string name;
  tValue value;
  std::string meaning;  ///< in words, where the value does not speak for itself
  /// Of a frame's fields: where in the stream the encoded bytes stand that carry it. A byte in
  /// which two fields meet belongs to both.
  unsigned long long wireOffset = 0;
  unsigned int wireSize = 0;
};

/// One finding: a frame, bytes that are none, a telegram, a message.
struct tNote {
  std::string kind;
  std::vector<std::pair<std::string, tValue>> facts;
  std::string fault;  ///< why it is bad; empty if it is good
  std::vector<tField> fields;
  std::string json;  ///< of a message: its JSON form
};

/// Receives the findings in their order.
using tTeller = std::function<void(tNote const&)>;

/// Bytes as hexadecimal text, parted by blanks; only the first few of many, and then "...".
std::string hexText(unsigned char const* bytes, unsigned int size);
/// One byte as two hexadecimal digits.
std::string hexText(unsigned char byte);
/// A field of these bytes.
tField makeField(tBlob const& bytes, unsigned int offset, unsigned int size, std::string name,
                 tValue value, std::string meaning = {});

}  // namespace nk_explain
