#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "nkProtocol/export.h"
#include "nkSupport/tString.h"
#include "nkSupport/tTime.h"

/// A named span of the day with two activity flags. Times are seconds since midnight, 0 to 86399,
/// as tTime::dayTimeSeconds counts them; the stop is the last second of the slot. A slot whose
/// start lies behind its stop is never active: slots do not run across midnight. Not synchronised:
/// the owner locks.
class NK_API tTimeSlot {
 public:
  /// What delayToStart gives when the slot gives no start to wait for.
  static constexpr unsigned int noDelay = 0xFFFFFFFF;

  tTimeSlot() = default;
  /// `first` and `second` become bits 0 and 1 of the flag word, whose other bits are 0.
  tTimeSlot(tString const& name, unsigned int start, unsigned int stop, bool first, bool second);
  /// `activity` is the whole flag word, kept as it is: bit 0 and bit 1 are the two flags.
  tTimeSlot(tString const& name, unsigned int start, unsigned int stop, unsigned int activity);

  /// Sets the two flags and leaves the other bits of the word.
  void setActivity(bool first, bool second);
  /// For people; slots are told apart by their place in the list.
  tString const& name() const { return m_name; }
  /// First and last second of the slot, as given: numbers past the end of the day are kept.
  unsigned int startTime() const { return m_start; }
  unsigned int stopTime() const { return m_stop; }
  /// The whole flag word; bit 0 and bit 1 are the two flags.
  unsigned int activity() const { return m_activity; }

  /// True if `t` lies in the slot, both ends included. False for null.
  bool activeAtTime(tTime* t) const;
  /// Seconds from `t` to the slot's next start, today or tomorrow; noDelay at the very second of
  /// the start (the slot counts as begun), and for null.
  unsigned int delayToStart(tTime* t) const;

 private:
  tString m_name;
  unsigned int m_start = 0;
  unsigned int m_stop = 0;
  unsigned int m_activity = 0;
};

/// A list of time slots in the order they were added, and the switch that says whether the user
/// allows sleeping. The list owns its slots; pointers to them hold until the list is changed.
/// Not synchronised: the owner locks.
class NK_API tTimeslots {
 public:
  tTimeslots() = default;
  /// As set().
  tTimeslots(tTimeslots const& other) { set(other); }
  tTimeslots& operator=(tTimeslots const& other);

  /// Replaces flag and slots by copies of `other`'s.
  void set(tTimeslots const& other);
  /// Removes all slots; the flag stays.
  void clear() { m_slots.clear(); }
  /// Append a slot and return it.
  tTimeSlot* add(tString const& name, unsigned int start, unsigned int stop, bool first,
                 bool second);
  tTimeSlot* add(tString const& name, unsigned int start, unsigned int stop, unsigned int activity);
  /// Deletes the slot at `index`; nothing happens past the end.
  void remove(unsigned int index);
  /// Number of slots.
  unsigned int count() const { return static_cast<unsigned int>(m_slots.size()); }
  /// The slot at `index`; null past the end.
  tTimeSlot* get(unsigned int index);
  /// Copies the slot at `index` to `out`. False for null and past the end.
  bool get(unsigned int index, tTimeSlot* out) const;
  /// Overwrites the slot at `index`. False past the end.
  bool setTimeslot(unsigned int index, tTimeSlot const& slot);
  /// Whether the user allows sleeping; false until set. For any thread at any time.
  bool getSleepUserEnabled() const { return m_sleepUserEnabled; }
  void setSleepUserEnable(bool enabled) { m_sleepUserEnabled = enabled; }

  /// Seconds from `t` to the next start of any slot; 0 if a slot is active at `t`, and also if none
  /// will start: either way there is nothing to wait for.
  unsigned int durationToNext(tTime& t) const;

 private:
  // Atomic because configurations read and write it outside the lock that guards the slots.
  std::atomic<bool> m_sleepUserEnabled{false};
  std::vector<std::unique_ptr<tTimeSlot>> m_slots;
};
