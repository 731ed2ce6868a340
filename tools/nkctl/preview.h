#pragma once

#include <string>
#include <vector>

#include "nkProtocol/scheduleMessages.h"
#include "nkProtocol/timeSlots.h"
#include "nkSupport/tJson.h"

/// What a set of schedules means at a moment, by the rules of nk_messageSchedule and tTimeSlot. All
/// moments are seconds since 1970-01-01 00:00:00 UTC.

/// A schedule that runs on a display. It runs from its start until it has expired.
struct tRunning {
  unsigned short display = 0;
  nk_messageSchedule const* schedule = nullptr;    ///< null: none runs on this display
  nk_messageScheduleEntry const* entry = nullptr;  ///< null: the schedule has no entries
  unsigned int number = 0;                         ///< of the entry, from 1
  long long until = 0;                             ///< the last second of the entry
  bool hidden = false;                             ///< behind another schedule
};

/// All that runs at `at`: by rising display, the schedule that is shown first, then the hidden
/// ones. The latest start is shown, of equal ones that which comes last in the set. Displays of the
/// set on which nothing runs have a row without schedule. The rows point into `set`. O(n log n).
///
/// The entry is the one at the time since the start; a looping schedule starts over after a pass of
/// its entries, any other stays at its last entry until it has expired. Entries of no duration are
/// passed over, unless that leaves none: then the last one is shown.
std::vector<tRunning> runningAt(nk_messageSetSchedulesReq const& set, long long at);

/// The same as a table.
std::string schedulesPreview(nk_messageSetSchedulesReq const& set, long long at);
/// A table of the time slots at `at`: active, or when they start next.
std::string slotsPreview(tTimeslots& slots, long long at);

/// Both for programs: adds the arrays "displays" and "timeslots" to `json`. Moments are seconds
/// there.
void schedulesPreview(nk_messageSetSchedulesReq const& set, long long at, tJson& json);
void slotsPreview(tTimeslots& slots, long long at, tJson& json);

/// What is surely not meant, a line each: schedules of types that always count as expired, and
/// slots that start behind their stop, or after the end of the day.
std::vector<std::string> scheduleWarnings(nk_messageSetSchedulesReq const& set);
std::vector<std::string> slotWarnings(tTimeslots& slots);
