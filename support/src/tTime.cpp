#include "nkSupport/tTime.h"

#include <time.h>

#include <atomic>
#include <cerrno>

namespace {

constexpr int secondsPerDay = 86400;
constexpr long long daysPerEra = 146097;  // 400 years: after them the calendar repeats

constexpr long long floorDiv(long long value, long long by) {
  return value / by - (value % by < 0 ? 1 : 0);
}

struct tDate {
  long long year;
  int month, day;  // from 1
};

// Both conversions count in years that begin on the first of March, so that the leap day is the
// last day of its year, and in days since 0000-03-01. Month m of such a year (0 is March) begins
// on its day (153 m + 2) / 5.
constexpr long long epochDay = 719468;  // 1970-01-01

constexpr long long daysOf(tDate date) {
  long long const year = date.year - (date.month <= 2 ? 1 : 0);
  long long const era = floorDiv(year, 400);
  long long const yearOfEra = year - era * 400;
  int const dayOfYear = (153 * ((date.month + 9) % 12) + 2) / 5 + date.day - 1;
  return era * daysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear -
         epochDay;
}

constexpr tDate dateOf(long long days) {
  days += epochDay;
  long long const era = floorDiv(days, daysPerEra);
  int const dayOfEra = static_cast<int>(days - era * daysPerEra);
  int const leapDays = dayOfEra / 1460 - dayOfEra / 36524 + dayOfEra / 146096;
  int const yearOfEra = (dayOfEra - leapDays) / 365;
  int const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  int const monthFromMarch = (5 * dayOfYear + 2) / 153;
  int const month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  return {era * 400 + yearOfEra + (month <= 2 ? 1 : 0), month,
          dayOfYear - (153 * monthFromMarch + 2) / 5 + 1};
}

// Null stands for the system's clock.
constinit std::atomic<tClock*> installedClock{nullptr};

void sleepOnSystemClock(unsigned int milliseconds) {
  timespec until{};
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += milliseconds / 1000;
  until.tv_nsec += static_cast<int>(milliseconds % 1000) * 1000000;
  if (until.tv_nsec >= 1000000000) {
    ++until.tv_sec;
    until.tv_nsec -= 1000000000;
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

}  // namespace

tTime::tTime(long long seconds) {
  long long const days = floorDiv(seconds, secondsPerDay);
  // Not seconds - days * secondsPerDay, which the smallest numbers would take out of range.
  int const rest = static_cast<int>(seconds % secondsPerDay);
  int const secondOfDay = rest < 0 ? rest + secondsPerDay : rest;
  tDate const date = dateOf(days);
  m_year = date.year;
  m_month = date.month;
  m_day = date.day;
  m_hour = secondOfDay / 3600;
  m_minute = secondOfDay / 60 % 60;
  m_second = secondOfDay % 60;
}

tTime& tTime::year(unsigned short value) {
  m_year = value;
  return *this;
}

tTime& tTime::month(unsigned char value) {
  m_month = value;
  return *this;
}

tTime& tTime::mDay(unsigned char value) {
  m_day = value;
  return *this;
}

tTime& tTime::hour(unsigned char value) {
  m_hour = value;
  return *this;
}

tTime& tTime::minute(unsigned char value) {
  m_minute = value;
  return *this;
}

tTime& tTime::second(unsigned char value) {
  m_second = value;
  return *this;
}

long long tTime::timeSec() const {
  int const monthsFromJanuary = m_month - 1;
  long long const years = floorDiv(monthsFromJanuary, 12);
  int const month = static_cast<int>(monthsFromJanuary - years * 12) + 1;
  long long const days = daysOf({m_year + years, month, 1}) + m_day - 1;
  // Unsigned, since the first and the last day of 64 bits are not whole: a sum beyond them wraps.
  unsigned long long const seconds = static_cast<unsigned long long>(days) * secondsPerDay +
                                     static_cast<unsigned int>(m_hour) * 3600U +
                                     static_cast<unsigned int>(m_minute) * 60U +
                                     static_cast<unsigned int>(m_second);
  return static_cast<long long>(seconds);
}

unsigned int tTime::dayTimeSeconds() const {
  return static_cast<unsigned int>(m_hour * 3600 + m_minute * 60 + m_second) % secondsPerDay;
}

long long tTime::now() {
  if (tClock* clock = installedClock.load(std::memory_order_acquire)) return clock->now();
  return ::time(nullptr);
}

void tTime::sleep(unsigned int milliseconds) {
  if (tClock* clock = installedClock.load(std::memory_order_acquire)) {
    clock->sleep(milliseconds);
  } else {
    sleepOnSystemClock(milliseconds);
  }
}

void tTime::setClock(tClock* clock) { installedClock.store(clock, std::memory_order_release); }
