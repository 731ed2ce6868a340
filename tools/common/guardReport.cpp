#include "tools/common/guardReport.h"

#include "tools/common/program.h"

std::string nk_tools::droppedText(nk_linkGuard::tCounters const& counters,
                                  nk_linkGuard::tCounters const& before) {
  using tCounters = nk_linkGuard::tCounters;
  static constexpr struct {
    unsigned long long tCounters::*count;
    char const *one, *many;
  } rows[] = {
      {&tCounters::skippedBytes, "byte of noise", "bytes of noise"},
      {&tCounters::badFrames, "damaged frame", "damaged frames"},
      {&tCounters::largeFrames, "frame that was too large", "frames that were too large"},
      {&tCounters::foreign, "frame for another address", "frames for other addresses"},
      {&tCounters::strangers, "answer that was not asked for", "answers that were not asked for"},
      {&tCounters::duplicates, "frame that came before", "frames that came before"},
      {&tCounters::misfits, "part that fits no telegram", "parts that fit no telegram"},
      {&tCounters::expired, "telegram that stayed incomplete", "telegrams that stayed incomplete"},
      {&tCounters::refused, "telegram for lack of room", "telegrams for lack of room"},
      {&tCounters::incomplete, "telegram still incomplete", "telegrams still incomplete"},
  };
  std::string text;
  for (auto const& row : rows) {
    auto const count = counters.*row.count - before.*row.count;
    if (count == 0) continue;
    text.append(text.empty() ? "" : ", ").append(std::to_string(count)).append(" ");
    text.append(count == 1 ? row.one : row.many);
    bool const isKnown = counters.wrongSender != nk_basicTelegram::addressNone;
    if (row.count == &tCounters::strangers && isKnown)
      text.append(", the last from address ").append(std::to_string(counters.wrongSender));
  }
  return text;
}

void nk_tools::sayDropped(nk_linkGuard::tCounters const& counters) {
  auto const text = droppedText(counters);
  if (!text.empty()) say("dropped " + text);
}
