#include "tools/common/guardReport.h"

#include <string>

#include "tools/common/program.h"

void nk_tools::sayDropped(nk_linkGuard::tCounters const& counters) {
  using tCounters = nk_linkGuard::tCounters;
  static constexpr struct {
    unsigned long long tCounters::*count;
    char const* what;
  } rows[] = {
      {&tCounters::skippedBytes, "bytes of noise"},
      {&tCounters::badFrames, "damaged frames"},
      {&tCounters::largeFrames, "frames that were too large"},
      {&tCounters::foreign, "frames for other addresses"},
      {&tCounters::strangers, "answers that were not asked for"},
      {&tCounters::duplicates, "frames that came before"},
      {&tCounters::misfits, "parts that fit no telegram"},
      {&tCounters::expired, "telegrams that stayed incomplete"},
      {&tCounters::refused, "telegrams for lack of room"},
      {&tCounters::incomplete, "telegrams still incomplete"},
  };
  std::string text;
  for (auto const& row : rows) {
    if (counters.*row.count == 0) continue;
    text.append(text.empty() ? "dropped " : ", ");
    text.append(std::to_string(counters.*row.count)).append(" ").append(row.what);
  }
  if (!text.empty()) say(text);
}
