#include "tools/nkctl/table.h"

#include <algorithm>

#include "tools/common/program.h"

namespace {

// Columns on a terminal, one for each character of UTF-8: its later bytes begin with bits 10.
std::size_t width(std::string const& cell) {
  return static_cast<std::size_t>(std::count_if(cell.begin(), cell.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

}  // namespace

void tTable::add(std::vector<std::string> cells) {
  for (auto& cell : cells) cell = nk_tools::printable(cell);
  m_rows.push_back(std::move(cells));
}

std::string tTable::text() const {
  std::vector<std::size_t> widths;
  for (auto const& row : m_rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  }
  std::string text;
  for (auto const& row : m_rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      line.append(widths[i] - width(row[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  return text;
}
