#include <time.h>

#include <climits>
#include <string>

#include "fuzz.h"
#include "nkProtocol/scheduleMessages.h"
#include "nkSupport/tTime.h"

namespace {

using fuzz::require;

unsigned int read(std::string const& text) {
  return nk_messageSetSchedulesReq::getStartTimeFromString(tString(std::string_view(text)));
}

// Six fields as text, in and out of range, against the calendar of the C library.
void checkFields(fuzz::tInput input) {
  int fields[6];
  std::string text;
  for (int i = 0; i < 6; ++i) {
    fields[i] = input.number<short>();
    if (i < 3) fields[i] = std::abs(fields[i]);  // in a date a minus stands between the fields
    text += std::to_string(fields[i]) + "-- ::."[i];
  }
  tBlob const fraction = input.bytes(UINT_MAX);
  if (!fraction.empty())
    text.append(reinterpret_cast<char const*>(fraction.data()), fraction.size());
  tm date{};
  date.tm_year = static_cast<unsigned short>(fields[0]) - 1900;
  date.tm_mon = static_cast<unsigned char>(fields[1]) - 1;
  date.tm_mday = static_cast<unsigned char>(fields[2]);
  date.tm_hour = static_cast<unsigned char>(fields[3]);
  date.tm_min = static_cast<unsigned char>(fields[4]);
  date.tm_sec = static_cast<unsigned char>(fields[5]);
  require(read(text) == static_cast<unsigned int>(timegm(&date)), "the calendar is that of all");
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  read(std::string(reinterpret_cast<char const*>(data), size));
  fuzz::tInput input(data, size);
  checkFields(input);
  auto const seconds = input.number<long long>();
  tTime const time(seconds);
  require(time.timeSec() == seconds, "every second has its date");
  long long const rest = seconds % 86400;
  require(time.dayTimeSeconds() == static_cast<unsigned int>(rest < 0 ? rest + 86400 : rest),
          "and its place in the day");
  return 0;
}
