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
  /// Adds a row; the first one may be the heading. What is not printable in a cell becomes a
  /// question mark. `colour`, as "#RRGGBB" or empty, is that of the row on terminals.
  void add(std::vector<std::string> cells, tString const& colour = tString());
  void add(std::initializer_list<std::string_view> cells) {
    add(std::vector<std::string>{cells.begin(), cells.end()});
  }
  /// The rows added since the last call, a line each, without blanks at their ends. Columns are
  /// never narrower than in earlier calls.
  std::string text(bool coloured = false);

 private:
  struct tRow {
    std::vector<std::string> cells;
    tString colour;
  };

  std::string line(tRow const& row) const;

  std::vector<tRow> m_rows;
  std::vector<std::size_t> m_widths;
};

/// True if people who look at standard output want to see colours: it is a terminal, and neither
/// NO_COLOR nor TERM in the environment speaks against it.
bool coloursWanted();
