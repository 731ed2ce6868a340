#include "tools/nkctl/table.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "tools/common/text.h"

namespace {

// Columns on a terminal, one for each character of UTF-8: its later bytes begin with bits 10.
std::size_t width(std::string const& cell) {
  return static_cast<std::size_t>(std::count_if(cell.begin(), cell.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

// `line` on the colour "#RRGGBB", in black or white, whichever is easier to read there: whether the
// terminal itself is dark or light is not known. As it is if `colour` is none.
std::string painted(std::string const& line, tString const& colour) {
  unsigned int value = 0;
  auto const digits = colour.view().substr(colour.empty() ? 0 : 1);
  auto const end = digits.data() + digits.size();
  if (std::from_chars(digits.data(), end, value, 16).ptr != end || digits.size() != 6) return line;
  unsigned int const red = value >> 16, green = value >> 8 & 255, blue = value & 255;
  bool const isLight = red * 3 + green * 6 + blue > 1275;  // of 2550
  return std::string(isLight ? "\x1b[30;48;2;" : "\x1b[97;48;2;") + std::to_string(red) + ";" +
         std::to_string(green) + ";" + std::to_string(blue) + "m" + line + "\x1b[0m";
}

}  // namespace

void tTable::add(std::vector<std::string> cells, tString const& colour) {
  for (auto& cell : cells) cell = nk_tools::printable(cell);
  m_widths.resize(std::max(m_widths.size(), cells.size()));
  for (std::size_t i = 0; i < cells.size(); ++i)
    m_widths[i] = std::max(m_widths[i], width(cells[i]));
  m_rows.push_back({std::move(cells), colour});
}

std::string tTable::line(tRow const& row) const {
  std::string line;
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    line += row.cells[i];
    line.append(m_widths[i] - width(row.cells[i]) + 2, ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

std::string tTable::text(bool coloured) {
  std::string text;
  for (auto const& row : m_rows)
    text += (coloured ? painted(line(row), row.colour) : line(row)) + "\n";
  m_rows.clear();
  return text;
}

bool coloursWanted() {
  char const* const no = std::getenv("NO_COLOR");    // NOLINT: nobody changes the environment
  char const* const terminal = std::getenv("TERM");  // NOLINT
  return ::isatty(STDOUT_FILENO) != 0 && (no == nullptr || *no == '\0') &&
         (terminal == nullptr || std::string_view(terminal) != "dumb");
}
