#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nkSupport/tString.h"

/// A text of the library for a cell.
inline std::string text(tString const& value) { return std::string(value.view()); }

/// A table for people: columns in the width of their widest cell, two blanks between them.
class tTable {
 public:
  /// Adds a row; the first one may be the heading. What is not
  /// printable in a cell becomes a question mark.
  void add(std::vector<std::string> cells);
  void add(std::initializer_list<std::string_view> cells) { add({cells.begin(), cells.end()}); }
  /// The rows, a line each, without blanks at their ends.
  std::string text() const;

 private:
  std::vector<std::vector<std::string>> m_rows;
};
