#include "nkSupport/tStringList.h"

#include <utility>

tString tStringList::get(unsigned int index) const {
  return index < m_texts.size() ? m_texts[index] : tString();
}

void tStringList::add(tString const& text) { m_texts.push_back(text); }

void tStringList::add(tString&& text) { m_texts.push_back(std::move(text)); }

void tStringList::add(tStringList const& other) {
  // By index, since `other` may be this list and move while it grows.
  unsigned int const added = other.count();
  for (unsigned int i = 0; i < added; ++i) m_texts.push_back(other.m_texts[i]);
}
