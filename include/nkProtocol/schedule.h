#pragma once

#include "nkProtocol/export.h"
#include "nkProtocol/vector.h"
#include "nkSupport/tString.h"

/// One image in a schedule, and for how long it is shown. Not synchronised: the owner locks.
class NK_API nk_messageScheduleEntry {
 public:
  /// `duration` in seconds. `handled` is a mark of the running device, not part of any message.
  nk_messageScheduleEntry(unsigned long long id, tString name, unsigned int duration,
                          unsigned long long imageId, bool handled);

  /// Orders the entries of a schedule; equal ids are possible.
  unsigned long long id() const { return m_id; }
  /// For people; a copy.
  tString name() const { return m_name; }
  /// Seconds.
  unsigned int duration() const { return m_duration; }
  /// The id of the picture to show (nk_msgFile::id), which need not be there.
  unsigned long long imageId() const { return m_imageId; }
  /// True once the entry has been shown; see setHandled().
  bool handled() const { return m_handled; }
  /// Notes that the entry has been shown; there is no way back.
  void setHandled() { m_handled = true; }
  /// True if all but the mark is equal. False for null.
  bool compare(nk_messageScheduleEntry* other) const;

 private:
  unsigned long long m_id;
  tString m_name;
  unsigned int m_duration;
  unsigned long long m_imageId;
  bool m_handled;
};

/// A named play list of images with a time from which it holds. The schedule owns its entries;
/// pointers to them hold until it is cleared or destroyed. Times are seconds since 1970-01-01
/// 00:00:00 UTC, as tTime::timeSec counts them.
/// Not synchronised: the owner locks.
class NK_API nk_messageSchedule {
 public:
  /// Without entries. All values are kept as they are; `flags` hold the type and the loop flag.
  nk_messageSchedule(unsigned long long id, tString name, long long startTime, long long stopTime,
                     unsigned int flags, unsigned short showOnLogicalDisplay);
  ~nk_messageSchedule();
  nk_messageSchedule(nk_messageSchedule const&) = delete;
  nk_messageSchedule& operator=(nk_messageSchedule const&) = delete;

  /// Tells schedules of a set apart, as far as peers keep to it: equal ids are not refused.
  unsigned long long id() const { return m_id; }
  /// For people; a copy.
  tString name() const { return m_name; }
  /// The first second of the schedule.
  long long startTime() const { return m_startTime; }
  /// Matters only to schedules of type 6.
  long long stopTime() const { return m_stopTime; }
  /// Bit 0 is loopSchedule(), bits 1 to 3 are type(); the others are carried as they are.
  unsigned int flags() const { return m_flags; }
  /// The schedule type, which decides when it expires: bits 1 to 3 of the flags, not shifted, so
  /// one of 0, 2, 4, 6, 8, 10, 12, 14.
  unsigned int type() const;
  /// 1 if the schedule starts over after its last entry, otherwise 0.
  unsigned int loopSchedule() const;
  /// Id of the logical display that shows it.
  unsigned short showOnLogicalDisplay() const { return m_showOnLogicalDisplay; }

  /// Number of entries.
  unsigned int count() const { return static_cast<unsigned int>(m_entries.size()); }
  /// The entry at `index`; null past the end.
  nk_messageScheduleEntry* getScheduleEntry(unsigned int index) const;
  /// Appends an entry, whatever its id, and returns it.
  nk_messageScheduleEntry* addScheduleEntry(unsigned long long id, tString name,
                                            unsigned int duration, unsigned long long imageId,
                                            bool handled);
  /// Deletes all entries.
  void clear();
  /// Sorts the entries by rising id, stably; see tVector for the cost.
  void sort();
  /// True if all fields and, place by place, all entries are equal. False for null.
  bool compare(nk_messageSchedule* other) const;
  /// 0 if there is no entry.
  unsigned long long lastEntryImageId() const;
  /// Sum of the durations of all entries in seconds.
  unsigned long long overallDuration() const;
  /// Notes of every entry that it has been shown.
  void markAllEntriesHandled();
  /// True if `entry` is the very object in the last place and the schedule does not loop.
  bool scheduleEntryIsLastEntry(nk_messageScheduleEntry* entry) const;
  /// The last second of the schedule: one pass of its entries after the start for types 0, 2 and 4,
  /// the stop time for type 6. False for types that always count as expired.
  bool endTime(long long& end) const;
  /// True if `now` lies behind the end, or the type always counts as expired. Looping changes
  /// nothing: one pass counts.
  bool scheduleExpired(long long now) const;

 private:
  friend class nk_messageSetSchedulesReq;
  unsigned long long m_id;
  tString m_name;
  long long m_startTime;
  long long m_stopTime;
  unsigned int m_flags;
  unsigned short m_showOnLogicalDisplay;
  tVector_TS<nk_messageScheduleEntry*> m_entries;
};

/// Comparator for the sort by rising id. Neither pointer may be null.
NK_API bool compareScheduleEntries(nk_messageScheduleEntry*& a, nk_messageScheduleEntry*& b);
/// The same for schedules.
NK_API bool compareSchedules(nk_messageSchedule*& a, nk_messageSchedule*& b);
