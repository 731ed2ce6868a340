#include "nkSupport/tString.h"

#include <charconv>

tString::tString(char const* text) : m_text(text != nullptr ? text : "") {}

tString::tString(std::string_view text) : m_text(text) {}

tString::tString(char const* bytes, unsigned int count) { assign(bytes, count); }

void tString::assign(char const* bytes, unsigned int count) {
  if (count == 0) {
    m_text.clear();
  } else {
    m_text.assign(bytes, count);
  }
}

tString& tString::operator+=(tString const& tail) {
  m_text += tail.m_text;
  return *this;
}

namespace {

template <class T>
tString decimal(T value) {
  char digits[20];  // 2^64 - 1 has 20 digits, -2^63 has 19 and a sign
  auto const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return tString(digits, static_cast<unsigned int>(end - digits));
}

}  // namespace

tString tString::fromUInt64(unsigned long long value) { return decimal(value); }

tString tString::fromInt64(long long value) { return decimal(value); }

int tString::toIntDef(int fallback) const {
  char const* first = m_text.data();
  char const* const last = first + m_text.size();
  if (first != last && *first == '+' && (last - first < 2 || first[1] != '-')) ++first;
  int value = 0;
  auto const result = std::from_chars(first, last, value);
  return result.ec == std::errc() && result.ptr == last ? value : fallback;
}

tString tString::strBefor(tString const& separator) const {
  auto const at = separator.empty() ? std::string::npos : m_text.find(separator.m_text);
  return at == std::string::npos ? *this : tString(std::string_view(m_text).substr(0, at));
}

tString tString::strAfter(tString const& separator) const {
  auto const at = separator.empty() ? std::string::npos : m_text.find(separator.m_text);
  return at == std::string::npos
             ? tString()
             : tString(std::string_view(m_text).substr(at + separator.m_text.size()));
}

tString& tString::completePath() {
  if (!m_text.empty() && m_text.back() != '/') m_text += '/';
  return *this;
}
