#pragma once

#include <type_traits>

#include "nkSupport/tBlob.h"
#include "nkSupport/tJson.h"
#include "nkSupport/tString.h"
#include "nkSupport/tStringList.h"

/// Passes the members of a message through a JSON object in one direction or the other, so that a
/// class names each key once. Writing adds the members in the order of the calls. Reading leaves a
/// number alone whose key is missing and cuts what is read to the number's width; a missing text,
/// list of texts or binary is read as an empty one.
class nk_jsonFields {
 public:
  enum teDirection { READ, WRITE };
  /// `json` is borrowed for the life of this object.
  nk_jsonFields(tJson& json, teDirection direction) : m_json(json), m_writing(direction == WRITE) {}

  bool writing() const { return m_writing; }

  /// Any integer type; a u64 from 2^63 on keeps its 64 bits.
  template <class Number>
  nk_jsonFields& number(char const* key, Number& value) {
    static_assert(std::is_integral_v<Number>);
    if (!m_writing) {
      value = static_cast<Number>(m_json.getInt(key, static_cast<long long>(value)));
    } else if constexpr (std::is_same_v<Number, unsigned long long>) {
      m_json.addUInt64(key, value);
    } else {
      m_json.addInt(key, value);
    }
    return *this;
  }
  nk_jsonFields& text(char const* key, tString& value) {
    if (m_writing) {
      m_json.addString(key, value);
    } else {
      value = m_json.getString(key);
    }
    return *this;
  }
  nk_jsonFields& flag(char const* key, bool& value) {
    if (m_writing) {
      m_json.addBool(key, value);
    } else {
      value = m_json.getBool(key, value);
    }
    return *this;
  }
  nk_jsonFields& texts(char const* key, tStringList& values) {
    if (m_writing) {
      m_json.addStringArray(key, values);
    } else {
      m_json.getStringArray(key, values);
    }
    return *this;
  }
  nk_jsonFields& binary(char const* key, tBlob& bytes) {
    if (m_writing) {
      m_json.addBinary(key, bytes);
    } else {
      m_json.getBinary(key, bytes);
    }
    return *this;
  }

  /// An array of objects. Writing, there are `size` of them; reading, as many as the array holds,
  /// up to the first element that is no object. `element(fields, index)` passes the members of one;
  /// false from it ends the list.
  template <class Element>
  nk_jsonFields& list(char const* key, unsigned int size, Element element) {
    tJson object;
    if (!m_writing) {
      for (unsigned int i = 0; m_json.getArrayObject(key, i, object); ++i) {
        if (!element(nk_jsonFields(object, READ), i)) break;
      }
      return *this;
    }
    for (unsigned int i = 0; i < size; ++i) {
      object.clear();
      if (!element(nk_jsonFields(object, WRITE), i)) break;
      m_json.addToArray(key, static_cast<tJson&&>(object));
    }
    return *this;
  }
  /// True: ends a chain of members as the result of the class's one JSON routine.
  bool done() const { return true; }

 private:
  tJson& m_json;
  bool const m_writing;
};
