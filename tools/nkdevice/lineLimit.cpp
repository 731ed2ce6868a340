#include "tools/nkdevice/lineLimit.h"

#include "tools/common/program.h"

namespace {

constexpr unsigned int linesPerMinute = 60;

}  // namespace

void tLineLimit::say(std::string const& line) {
  auto const now = std::chrono::steady_clock::now();
  if (now - m_begun > std::chrono::minutes(1)) {
    m_begun = now;
    if (m_lines > linesPerMinute)
      nk_tools::say(std::to_string(m_lines - linesPerMinute) + " lines about " + m_about +
                    " left out");
    m_lines = 0;
  }
  if (++m_lines <= linesPerMinute) nk_tools::say(line);
}
