#include "nkProtocol/schedule.h"

#include <memory>
#include <utility>

namespace {
constexpr unsigned int loopFlag = 0x01;
// PEER: the type stays where it stands in the flags, so types are the even numbers 0 to 14.
constexpr unsigned int typeMask = 0x0E;
constexpr unsigned int typeWithStopTime = 6;
}  // namespace

nk_messageScheduleEntry::nk_messageScheduleEntry(unsigned long long id, tString name,
                                                 unsigned int duration, unsigned long long imageId,
                                                 bool handled)
    : m_id(id),
      m_name(std::move(name)),
      m_duration(duration),
      m_imageId(imageId),
      m_handled(handled) {}

bool nk_messageScheduleEntry::compare(nk_messageScheduleEntry* other) const {
  return other != nullptr && m_id == other->m_id && m_name == other->m_name &&
         m_duration == other->m_duration && m_imageId == other->m_imageId;
}

nk_messageSchedule::nk_messageSchedule(unsigned long long id, tString name, long long startTime,
                                       long long stopTime, unsigned int flags,
                                       unsigned short showOnLogicalDisplay)
    : m_id(id),
      m_name(std::move(name)),
      m_startTime(startTime),
      m_stopTime(stopTime),
      m_flags(flags),
      m_showOnLogicalDisplay(showOnLogicalDisplay),
      m_entries(false) {}

nk_messageSchedule::~nk_messageSchedule() { clear(); }

unsigned int nk_messageSchedule::type() const { return m_flags & typeMask; }

unsigned int nk_messageSchedule::loopSchedule() const { return m_flags & loopFlag; }

nk_messageScheduleEntry* nk_messageSchedule::getScheduleEntry(unsigned int index) const {
  return index < count() ? m_entries[index] : nullptr;
}

nk_messageScheduleEntry* nk_messageSchedule::addScheduleEntry(unsigned long long id, tString name,
                                                              unsigned int duration,
                                                              unsigned long long imageId,
                                                              bool handled) {
  auto added =
      std::make_unique<nk_messageScheduleEntry>(id, std::move(name), duration, imageId, handled);
  m_entries.push_back(added.get());
  return added.release();
}

void nk_messageSchedule::clear() {
  for (nk_messageScheduleEntry* entry : m_entries) delete entry;
  m_entries.clear();
}

void nk_messageSchedule::sort() { m_entries.sort(compareScheduleEntries); }

bool nk_messageSchedule::compare(nk_messageSchedule* other) const {
  if (other == nullptr || m_id != other->m_id || m_name != other->m_name ||
      m_startTime != other->m_startTime || m_stopTime != other->m_stopTime ||
      m_flags != other->m_flags || m_showOnLogicalDisplay != other->m_showOnLogicalDisplay ||
      count() != other->count()) {
    return false;
  }
  for (unsigned int i = 0; i < count(); ++i) {
    if (!m_entries[i]->compare(other->m_entries[i])) return false;
  }
  return true;
}

unsigned long long nk_messageSchedule::lastEntryImageId() const {
  return m_entries.empty() ? 0 : m_entries.back()->imageId();
}

unsigned long long nk_messageSchedule::overallDuration() const {
  unsigned long long seconds = 0;
  for (nk_messageScheduleEntry const* entry : m_entries) seconds += entry->duration();
  return seconds;
}

void nk_messageSchedule::markAllEntriesHandled() {
  for (nk_messageScheduleEntry* entry : m_entries) entry->setHandled();
}

bool nk_messageSchedule::scheduleEntryIsLastEntry(nk_messageScheduleEntry* entry) const {
  return entry != nullptr && !m_entries.empty() && m_entries.back() == entry && loopSchedule() == 0;
}

bool nk_messageSchedule::endTime(long long& end) const {
  switch (type()) {
    case 0:
    case 2:
    case 4:
      // Unsigned, so that a start near the end of time wraps instead of being undefined.
      end =
          static_cast<long long>(static_cast<unsigned long long>(m_startTime) + overallDuration());
      return true;
    case typeWithStopTime:
      end = m_stopTime;
      return true;
    default:
      return false;
  }
}

bool nk_messageSchedule::scheduleExpired(long long now) const {
  // PEER: the loop flag plays no part; a looping schedule expires after one pass.
  long long end = 0;
  return !endTime(end) || end < now;
}

bool compareScheduleEntries(nk_messageScheduleEntry*& a, nk_messageScheduleEntry*& b) {
  return a->id() > b->id();
}

bool compareSchedules(nk_messageSchedule*& a, nk_messageSchedule*& b) { return a->id() > b->id(); }
