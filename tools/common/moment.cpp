#include "tools/common/moment.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <string_view>

#include "nkProtocol/scheduleMessages.h"

namespace {

using namespace std::chrono;

// With leading zeros.
std::string digits(unsigned int value, std::size_t width) {
  auto const text = std::to_string(value);
  return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

// "2026-03-01T08:00:00Z" as "2026-03-01 08:00:00"; any other text as it is.
std::string withoutLetters(std::string text) {
  constexpr std::size_t day = std::string_view("YYYY-MM-DD").size();
  if (text.size() <= day || text[day] != 'T' || text.back() != 'Z') return text;
  text[day] = ' ';
  text.pop_back();
  return text;
}

bool isDate(std::string const& text, long long& seconds) {
  int y = 0, end = 0;
  unsigned int mo = 0, d = 0, h = 0, mi = 0, s = 0;
  // NOLINTNEXTLINE(cert-err34-c): numbers out of range are found below
  if (std::sscanf(text.c_str(), "%4d-%2u-%2u %2u:%2u:%2u%n", &y, &mo, &d, &h, &mi, &s, &end) != 6)
    return false;
  year_month_day const date{year{y}, month{mo}, day{d}};
  if (!date.ok() || h > 23 || mi > 59 || s > 59) return false;
  seconds = (sys_days{date} + hours{h} + minutes{mi} + std::chrono::seconds{s})
                .time_since_epoch()
                .count();
  // Digits missing, blanks or signs between them do not come out as they went in.
  return momentText(seconds) == text;
}

}  // namespace

bool parseMoment(std::string const& written, long long& seconds) {
  auto const text = withoutLetters(written);
  long long value = 0;
  auto const number = std::from_chars(text.data(), text.data() + text.size(), value);
  bool const isNumber = number.ec == std::errc() && number.ptr == text.data() + text.size();
  if (!isNumber) {
    if (!isDate(text, value)) return false;
    auto const known = nk_messageSetSchedulesReq::getStartTimeFromString(text.c_str());
    if (static_cast<long long>(known) != value) return false;
  }
  seconds = value;
  return true;
}

std::string momentText(long long seconds) {
  constexpr long long least = -62167219200, most = 253402300799;  // years 0 and 9999
  if (seconds < least || seconds > most) return std::to_string(seconds);
  sys_seconds const moment{std::chrono::seconds{seconds}};
  auto const midnight = floor<days>(moment);
  year_month_day const date{midnight};
  return digits(static_cast<unsigned int>(int{date.year()}), 4) + "-" +
         digits(unsigned{date.month()}, 2) + "-" + digits(unsigned{date.day()}, 2) + " " +
         clockText(static_cast<unsigned int>((moment - midnight).count()));
}

std::string clockText(unsigned int seconds) {
  if (seconds >= 360000) return std::to_string(seconds);
  return digits(seconds / 3600, 2) + ":" + digits(seconds / 60 % 60, 2) + ":" +
         digits(seconds % 60, 2);
}
