#pragma once

#include "nkSupport/export.h"

/// Where tTime gets the time from; replace it to run programs on a clock of their own (tests, or
/// a device whose clock is set over the link).
class NK_SUPPORT_API tClock {
 public:
  virtual ~tClock() = default;
  /// Seconds since 1970-01-01 00:00:00 UTC.
  virtual long long now() = 0;
  /// Returns after `milliseconds` of this clock.
  virtual void sleep(unsigned int milliseconds) = 0;
};

/// A moment in UTC, as calendar fields that are set one by one and read as seconds since
/// 1970-01-01 00:00:00. 64 bits on every platform, so 2038 and 2106 are days like any other.
///
/// Fields out of range are not refused: they count on into the neighbouring field (month 13 is
/// January of the next year, day 0 the last day of the month before, second 60 the next minute),
/// in the proleptic Gregorian calendar.
class NK_SUPPORT_API tTime {
 public:
  /// The moment `seconds` after 1970-01-01 00:00:00 UTC.
  explicit tTime(long long seconds = 0);

  /// 0 to 65535. As all setters it leaves the other fields as they are and returns this moment, so
  /// that calls can be chained.
  tTime& year(unsigned short value);
  /// 1 is January.
  tTime& month(unsigned char value);
  /// Day of the month, from 1.
  tTime& mDay(unsigned char value);
  /// From 0; hours of 24 to the day.
  tTime& hour(unsigned char value);
  tTime& minute(unsigned char value);
  tTime& second(unsigned char value);

  /// Seconds since 1970-01-01 00:00:00 UTC.
  long long timeSec() const;
  /// Seconds since the midnight before, 0 to 86399.
  unsigned int dayTimeSeconds() const;

  /// The present time in seconds, as timeSec() counts; from the installed clock.
  static long long now();
  /// Pauses the calling thread for `milliseconds` of the installed clock.
  static void sleep(unsigned int milliseconds);
  /// Installs `clock` for the whole process; it is borrowed until another is installed, and longer
  /// while other threads are in now() or sleep(). Null brings back the system's clock. Safe against
  /// concurrent now() and sleep().
  static void setClock(tClock* clock);

 private:
  long long m_year;
  int m_month, m_day, m_hour, m_minute, m_second;
};
