#include "nkProtocol/timeSlots.h"

#include <algorithm>

namespace {
constexpr unsigned int secondsPerDay = 86400;
constexpr unsigned int firstFlag = 1;
constexpr unsigned int secondFlag = 2;

unsigned int flagWord(bool first, bool second) {
  return (first ? firstFlag : 0) | (second ? secondFlag : 0);
}
}  // namespace

tTimeSlot::tTimeSlot(tString const& name, unsigned int start, unsigned int stop, bool first,
                     bool second)
    : tTimeSlot(name, start, stop, flagWord(first, second)) {}

tTimeSlot::tTimeSlot(tString const& name, unsigned int start, unsigned int stop,
                     unsigned int activity)
    : m_name(name), m_start(start), m_stop(stop), m_activity(activity) {}

void tTimeSlot::setActivity(bool first, bool second) {
  m_activity = (m_activity & ~(firstFlag | secondFlag)) | flagWord(first, second);
}

bool tTimeSlot::activeAtTime(tTime* t) const {
  if (t == nullptr) return false;
  unsigned int const second = t->dayTimeSeconds();
  // PEER: a start behind the stop gives no slot across midnight, but one that is never active.
  return m_start <= second && second <= m_stop;
}

unsigned int tTimeSlot::delayToStart(tTime* t) const {
  if (t == nullptr) return noDelay;
  unsigned int const second = t->dayTimeSeconds();
  if (second < m_start) return m_start - second;
  // PEER: at the second of its start the slot counts as begun; activeAtTime covers it.
  if (second == m_start) return noDelay;
  return m_start + secondsPerDay - second;
}

tTimeslots& tTimeslots::operator=(tTimeslots const& other) {
  if (this != &other) set(other);
  return *this;
}

void tTimeslots::set(tTimeslots const& other) {
  if (this == &other) return;
  m_sleepUserEnabled = other.getSleepUserEnabled();
  clear();
  for (auto const& slot : other.m_slots) {
    add(slot->name(), slot->startTime(), slot->stopTime(), slot->activity());
  }
}

tTimeSlot* tTimeslots::add(tString const& name, unsigned int start, unsigned int stop, bool first,
                           bool second) {
  return add(name, start, stop, flagWord(first, second));
}

tTimeSlot* tTimeslots::add(tString const& name, unsigned int start, unsigned int stop,
                           unsigned int activity) {
  m_slots.push_back(std::make_unique<tTimeSlot>(name, start, stop, activity));
  return m_slots.back().get();
}

void tTimeslots::remove(unsigned int index) {
  if (index < count()) m_slots.erase(m_slots.begin() + static_cast<int>(index));
}

tTimeSlot* tTimeslots::get(unsigned int index) {
  return index < count() ? m_slots[index].get() : nullptr;
}

bool tTimeslots::get(unsigned int index, tTimeSlot* out) const {
  if (out == nullptr || index >= count()) return false;
  *out = *m_slots[index];
  return true;
}

bool tTimeslots::setTimeslot(unsigned int index, tTimeSlot const& slot) {
  if (index >= count()) return false;
  *m_slots[index] = slot;
  return true;
}

unsigned int tTimeslots::durationToNext(tTime& t) const {
  unsigned int shortest = tTimeSlot::noDelay;
  for (auto const& slot : m_slots) {
    if (slot->activeAtTime(&t)) return 0;
    shortest = std::min(shortest, slot->delayToStart(&t));
  }
  // PEER: no slot to wait for and a slot that is running are the same answer.
  return shortest != tTimeSlot::noDelay ? shortest : 0;
}
