#include "nkSupport/tTime.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>

#include "harness/clock.h"

namespace {

TEST(tTime, countsTheFieldsFrom1970) {
  struct {
    unsigned short year;
    unsigned char month, day, hour, minute, second;
    long long seconds;
  } const rows[] = {
      {1969, 12, 31, 23, 59, 59, -1},
      {2024, 3, 1, 8, 30, 0, 1709281800},
      {2106, 2, 7, 6, 28, 16, UINT_MAX + 1LL},
      // Fields out of range count on.
      {2024, 0, 1, 0, 0, 0, 1701388800},    // 2023-12-01
      {2024, 255, 1, 0, 0, 0, 2371939200},  // 2045-03-01
      {2024, 3, 0, 0, 0, 0, 1709164800},    // 2024-02-29
      {2024, 1, 255, 0, 0, 0, 1726012800},  // 2024-09-11
      {2024, 1, 1, 255, 255, 255, 1705000755},
  };
  for (auto const& row : rows) {
    tTime time;
    time.year(row.year).month(row.month).mDay(row.day);
    time.hour(row.hour).minute(row.minute).second(row.second);
    EXPECT_EQ(time.timeSec(), row.seconds) << row.year << '-' << +row.month << '-' << +row.day;
    EXPECT_EQ(tTime(row.seconds).dayTimeSeconds(), time.dayTimeSeconds()) << row.seconds;
  }
  // Past the last second of 64 bits the count wraps; nothing worse happens.
  EXPECT_LT(tTime(LLONG_MAX).mDay(255).timeSec(), 0);
}

// Counts every month of all years that can be set, by the rule for leap years alone.
TEST(tTime, everyMonthOfEveryYearHasItsLength) {
  int const lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  long long first = -62167219200;
  for (unsigned int year = 0; year <= 65535; ++year) {
    bool const leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    for (unsigned char month = 1; month <= 12; ++month) {
      tTime const time = tTime().year(static_cast<unsigned short>(year)).month(month);
      int const days = lengths[month - 1] + (leap && month == 2 ? 1 : 0);
      long long const last = first + days * 86400LL - 1;
      ASSERT_EQ(time.timeSec(), first) << year << '-' << +month;
      // The last second belongs to the same month: its first day is where the month began.
      ASSERT_EQ(tTime(last).mDay(1).hour(0).minute(0).second(0).timeSec(), first) << last;
      first = last + 1;
    }
  }
}

TEST(tTime, runsOnTheInstalledClock) {
  std::optional<harness::tFakeClock> clock(1LL << 33);
  EXPECT_EQ(tTime::now(), 1LL << 33);
  tTime::sleep(4000000000);
  EXPECT_EQ(clock->slept_ms, 4000000000);
  clock.reset();
  EXPECT_GT(tTime::now(), 1700000000);
  EXPECT_LT(tTime::now(), 1LL << 33);
  tTime::sleep(0);
}

}  // namespace
