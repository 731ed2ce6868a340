#pragma once

#include <vector>

#include "nkSupport/export.h"
#include "nkSupport/tString.h"

/// A list of texts in the order they were added. Not synchronised.
class NK_SUPPORT_API tStringList {
 public:
  /// Number of texts.
  unsigned int count() const { return static_cast<unsigned int>(m_texts.size()); }
  /// Copy of the text at `index`, counted from 0; the empty text at or past count().
  tString get(unsigned int index) const;
  /// The texts in place, for a loop over them; valid until the list is changed or destroyed.
  auto begin() const { return m_texts.begin(); }
  auto end() const { return m_texts.end(); }
  /// Appends a text, or every text of another list (which may be this one).
  void add(tString const& text);
  void add(tString&& text);
  void add(tStringList const& other);
  /// Removes all texts.
  void clear() { m_texts.clear(); }
  /// True if both hold equal texts in the same order.
  bool operator==(tStringList const& other) const { return m_texts == other.m_texts; }

 private:
  std::vector<tString> m_texts;
};
