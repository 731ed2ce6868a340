#include "nkProtocol/scheduleMessages.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <queue>
#include <set>
#include <utility>

#include "codec/withinMemory.h"
#include "messages/bodyList.h"
#include "messages/jsonFields.h"
#include "nkSupport/SHA1.h"
#include "nkSupport/tCompression.h"
#include "nkSupport/tJson.h"
#include "nkSupport/tTime.h"

namespace {

constexpr char const* keySchedules = "schedules";
constexpr char const* keyEntries = "entries";

/// What an entry is made of, on its way through a body or a JSON object.
struct tEntryFields {
  unsigned long long id = 0;
  tString name;
  unsigned int duration = 0;
  unsigned long long imageId = 0;

  explicit tEntryFields(nk_messageScheduleEntry const* entry = nullptr) {
    if (entry == nullptr) return;
    id = entry->id();
    name = entry->name();
    duration = entry->duration();
    imageId = entry->imageId();
  }
  tEntryFields& read(nk_jsonFields fields) {
    jsonForm(fields);
    return *this;
  }
  unsigned int bodySize() const { return 8 + 4 + name.length() + 4 + 8; }
  void addTo(nk_messageSchedule& schedule) const {
    schedule.addScheduleEntry(id, name, duration, imageId, false);
  }
  bool body(nk_serializer& ser, nk_serializer::teSerDirection d) {
    return ser.u64(id, d) && ser.string(name, d) && ser.u32(duration, d) && ser.u64(imageId, d);
  }
  bool jsonForm(nk_jsonFields fields) {
    return fields.text("name", name)
        .number("uid", id)
        .number("duration", duration)
        .number("imageUid", imageId)
        .done();
  }
};

/// The same for a schedule without its entries.
struct tScheduleFields {
  unsigned long long id = 0;
  tString name;
  long long startTime = 0;
  long long stopTime = 0;
  unsigned int flags = 0;
  unsigned short display = 0;

  explicit tScheduleFields(nk_messageSchedule const* schedule = nullptr) {
    if (schedule == nullptr) return;
    id = schedule->id();
    name = schedule->name();
    startTime = schedule->startTime();
    stopTime = schedule->stopTime();
    flags = schedule->flags();
    display = schedule->showOnLogicalDisplay();
  }
  unsigned int bodySize() const { return 8 + 4 + name.length() + 8 + 8 + 4 + 2 + 4; }
  nk_messageSchedule* addTo(nk_messageSetSchedulesReq& set) const {
    return set.addSchedule_(id, name, startTime, stopTime, flags, display);
  }
  bool body(nk_serializer& ser, nk_serializer::teSerDirection d, bool hasStopTime) {
    return ser.u64(id, d) && ser.string(name, d) && time(ser, d, startTime) &&
           (!hasStopTime || time(ser, d, stopTime)) && ser.u32(flags, d) && ser.u16(display, d);
  }
  bool jsonForm(nk_jsonFields fields) {
    fields.number("uid", id)
        .text("name", name)
        .number("startTime", startTime)
        .number("stopTime", stopTime)
        .number("flags", flags);
    // PEER: "frame" is written from the flags and read as the display.
    unsigned int frame = fields.writing() ? flags : 0;
    fields.number("frame", frame);
    if (!fields.writing()) display = static_cast<unsigned short>(frame);
    return true;
  }

 private:
  static bool time(nk_serializer& ser, nk_serializer::teSerDirection d, long long& value) {
    auto bits = static_cast<unsigned long long>(value);
    bool const passed = ser.u64(bits, d);
    value = static_cast<long long>(bits);
    return passed;
  }
};

constexpr void nothing() {}

}  // namespace

nk_messageSetSchedulesReq::nk_messageSetSchedulesReq(teVersion version)
    : nk_message(SET_SCHEDULES_REQ, version), m_schedules(false) {}

nk_messageSetSchedulesReq::nk_messageSetSchedulesReq(nk_serializer* ser, teVersion version)
    : nk_messageSetSchedulesReq(version) {
  nk_messageSetSchedulesReq::serialize(ser, nk_serializer::SER_READ);
}

nk_messageSetSchedulesReq::~nk_messageSetSchedulesReq() { clear(); }

bool nk_messageSetSchedulesReq::serialize(nk_serializer* ser, nk_serializer::teSerDirection d) {
  if (ser == nullptr) return false;
  bool const reading = d == nk_serializer::SER_READ;
  auto const schedule = [&](unsigned int index) {
    if (reading) return scheduleBody(*ser, version(), this, nullptr, {});
    nk_messageSchedule* const current = getSchedule(index);
    return scheduleBody(*ser, version(), nullptr, current, current->m_entries);
  };
  return transferList<unsigned int>(*ser, d, count(), nothing, schedule);
}

// Reads one schedule with its entries into `target`, or, if that is null, writes `schedule` with
// `entries`.
bool nk_messageSetSchedulesReq::scheduleBody(nk_serializer& ser, teVersion asVersion,
                                             nk_messageSetSchedulesReq* target,
                                             nk_messageSchedule* schedule, tEntries entries) {
  bool const reading = target != nullptr;
  auto const d = reading ? nk_serializer::SER_READ : nk_serializer::SER_WRITE;
  tScheduleFields fields(schedule);
  if (!fields.body(ser, d, asVersion >= VERSION_2)) return false;
  // The entry count belongs to the schedule: it is created once both have been read.
  auto const create = [&] {
    if (reading) schedule = fields.addTo(*target);
  };
  auto const entry = [&](unsigned int i) {
    tEntryFields entryFields(reading ? nullptr : entries[i]);
    if (!entryFields.body(ser, d)) return false;
    if (reading) entryFields.addTo(*schedule);
    return true;
  };
  return transferList<unsigned int>(ser, d, static_cast<unsigned int>(entries.size()), create,
                                    entry);
}

bool nk_messageSetSchedulesReq::serializeToJson(tJson* json) {
  auto const schedules = [this](nk_jsonFields object, unsigned int index) {
    nk_messageSchedule const& schedule = *m_schedules[index];
    tScheduleFields(&schedule).jsonForm(object);
    object.list(keyEntries, schedule.count(), [&](nk_jsonFields entry, unsigned int i) {
      return tEntryFields(schedule.getScheduleEntry(i)).jsonForm(entry);
    });
    return true;
  };
  nk_jsonFields::teDirection const d = nk_jsonFields::WRITE;
  return beginJson(json) && withinMemory([&] {
           return nk_jsonFields(*json, d).list(keySchedules, count(), schedules).done();
         });
}

bool nk_messageSetSchedulesReq::serializeFromJson(tJson* json) {
  if (!acceptsJson(json)) return false;
  clear();
  return withinMemory([&] { return readJson({*json, nk_jsonFields::READ}); });
}

bool nk_messageSetSchedulesReq::readJson(nk_jsonFields fields) {
  // PEER: the entries are looked for in the whole object, not in each schedule, and so are the same
  // for all.
  std::vector<tEntryFields> entries;
  unsigned long long entriesSize = 0;
  fields.list(keyEntries, 0, [&](nk_jsonFields object, unsigned int) {
    entriesSize += entries.emplace_back().read(object).bodySize();
    return true;
  });
  unsigned long long size = 0;
  bool fits = true;
  fields.list(keySchedules, 0, [&](nk_jsonFields object, unsigned int) {
    tScheduleFields schedule;
    schedule.jsonForm(object);
    size += schedule.bodySize() + entriesSize;
    fits = size <= tCompression::maxDecodedSize();
    if (!fits) return false;
    nk_messageSchedule* const added = schedule.addTo(*this);
    for (auto const& entry : entries) entry.addTo(*added);
    return true;
  });
  return fits;
}

void nk_messageSetSchedulesReq::clear() {
  for (nk_messageSchedule* schedule : m_schedules) delete schedule;
  m_schedules.clear();
}

nk_messageSchedule* nk_messageSetSchedulesReq::getSchedule(unsigned int index) const {
  return index < count() ? m_schedules[index] : nullptr;
}

nk_messageSchedule* nk_messageSetSchedulesReq::addSchedule(nk_messageSchedule* schedule) {
  if (schedule != nullptr) m_schedules.push_back(schedule);
  return schedule;
}

nk_messageSchedule* nk_messageSetSchedulesReq::addSchedule_(unsigned long long id, tString name,
                                                            long long startTime, long long stopTime,
                                                            unsigned int flags,
                                                            unsigned short showOnLogicalDisplay) {
  auto added = std::make_unique<nk_messageSchedule>(id, std::move(name), startTime, stopTime, flags,
                                                    showOnLogicalDisplay);
  addSchedule(added.get());
  return added.release();
}

nk_messageSchedule* nk_messageSetSchedulesReq::addSchedule_(unsigned long long id, tString name,
                                                            tString startTime, tString stopTime,
                                                            unsigned int flags,
                                                            unsigned short showOnLogicalDisplay) {
  // PEER: times that come as text have 32 bits, widened without a sign.
  long long const start = getStartTimeFromString(std::move(startTime));
  long long const stop = getStartTimeFromString(std::move(stopTime));
  return addSchedule_(id, std::move(name), start, stop, flags, showOnLogicalDisplay);
}

unsigned int nk_messageSetSchedulesReq::getStartTimeFromString(tString text) {
  if (text.empty()) return 0;
  // The number before the next separator; the text goes on behind it.
  auto const next = [&text](char const* separator) {
    int const number = text.strBefor(separator).toIntDef(0);
    text = text.strAfter(separator);
    return number;
  };
  tTime time(0);
  time.year(static_cast<unsigned short>(next("-")));
  time.month(static_cast<unsigned char>(next("-")));
  time.mDay(static_cast<unsigned char>(next(" ")));
  time.hour(static_cast<unsigned char>(next(":")));
  time.minute(static_cast<unsigned char>(next(":")));
  time.second(static_cast<unsigned char>(next(".")));
  return static_cast<unsigned int>(time.timeSec());
}

void nk_messageSetSchedulesReq::sort() {
  m_schedules.sort(compareSchedules);
  for (nk_messageSchedule* schedule : m_schedules) schedule->sort();
}

nk_messageSchedule* nk_messageSetSchedulesReq::schedulePresent(nk_messageSchedule* schedule) const {
  auto const found =
      std::find_if(m_schedules.begin(), m_schedules.end(),
                   [id = schedule->id()](auto const* own) { return own->id() == id; });
  return found != m_schedules.end() ? *found : nullptr;
}

void nk_messageSetSchedulesReq::removeSchedule(nk_messageSchedule* schedule) {
  auto const found = std::find(m_schedules.begin(), m_schedules.end(), schedule);
  if (found == m_schedules.end()) return;
  delete schedule;
  m_schedules.erase(found);
}

nk_messageSchedule* nk_messageSetSchedulesReq::getScheduleForEntry(
    nk_messageScheduleEntry* entry) const {
  if (entry == nullptr) return nullptr;
  for (nk_messageSchedule* schedule : m_schedules) {
    for (unsigned int i = 0; i < schedule->count(); ++i) {
      if (schedule->getScheduleEntry(i) == entry) return schedule;
    }
  }
  return nullptr;
}

void nk_messageSetSchedulesReq::getRequiredImageUidList(tUidList& list) const {
  list.clear();
  for (nk_messageSchedule const* schedule : m_schedules) {
    for (unsigned int i = 0; i < schedule->count(); ++i) {
      list.push_back(schedule->getScheduleEntry(i)->imageId());
    }
  }
}

void nk_messageSetSchedulesReq::addCopy(nk_messageSchedule const& original) {
  nk_messageSchedule* const copy = tScheduleFields(&original).addTo(*this);
  for (unsigned int i = 0; i < original.count(); ++i) {
    tEntryFields(original.getScheduleEntry(i)).addTo(*copy);
  }
}

void nk_messageSetSchedulesReq::setSchedulesFrom(nk_messageSetSchedulesReq* other) {
  if (other == nullptr || other == this) return;
  clear();
  for (nk_messageSchedule const* schedule : other->m_schedules) addCopy(*schedule);
}

bool nk_messageSetSchedulesReq::setSchedulesFromWithoutClear(nk_messageSetSchedulesReq* other) {
  if (other == nullptr || other == this) return false;
  copyChanged(*other);
  return dropMissing(*other);
}

// Copies what is new or differs in `other`; what it replaces goes.
void nk_messageSetSchedulesReq::copyChanged(nk_messageSetSchedulesReq const& other) {
  // What is replaced is null in between, and stays in no case, whatever memory is lacking for.
  auto const removeNulls = [](auto* schedules) {
    schedules->erase(std::remove(schedules->begin(), schedules->end(), nullptr), schedules->end());
  };
  std::unique_ptr<decltype(m_schedules), decltype(removeNulls)> const atTheEnd(&m_schedules,
                                                                               removeNulls);
  // The places of each id, first one first, as schedulePresent would find them one by one.
  std::map<unsigned long long, std::queue<unsigned int>> places;
  for (unsigned int i = 0; i < count(); ++i) places[m_schedules[i]->id()].push(i);
  for (nk_messageSchedule* schedule : other.m_schedules) {
    auto& own = places[schedule->id()];
    if (!own.empty()) {
      nk_messageSchedule*& present = m_schedules[own.front()];
      if (present->compare(schedule)) continue;
      delete present;
      present = nullptr;
      own.pop();
    }
    own.push(count());
    addCopy(*schedule);
  }
}

// Drops what `other` does not hold; true if that was any.
bool nk_messageSetSchedulesReq::dropMissing(nk_messageSetSchedulesReq const& other) {
  std::set<unsigned long long> wanted;
  for (nk_messageSchedule const* schedule : other.m_schedules) wanted.insert(schedule->id());
  auto kept = m_schedules.begin();
  for (auto next = m_schedules.begin(); next != m_schedules.end(); ++next) {
    if (!wanted.contains((*next)->id())) {
      delete *next;
      // PEER: the one that follows a dropped schedule takes its place unseen, and stays.
      if (++next == m_schedules.end()) break;
    }
    *kept++ = *next;
  }
  bool const dropped = kept != m_schedules.end();
  m_schedules.erase(kept, m_schedules.end());
  return dropped;
}

tString nk_messageSetSchedulesReq::checksum(teVersion asVersion) const {
  return textWithinMemory([&] {
    SHA1 sha1;
    return hash(sha1, asVersion) ? sha1.Result() : tString();
  });
}

bool nk_messageSetSchedulesReq::hash(SHA1& sha1, teVersion asVersion) const {
  // The order of sort() in O(n log n): the order of a set that has just come may have been chosen
  // by a hostile peer, and the exchange sort takes quadratic time for some.
  auto const byId = [](auto const* a, auto const* b) { return a->id() < b->id(); };
  std::vector<nk_messageSchedule*> schedules(m_schedules.begin(), m_schedules.end());
  std::stable_sort(schedules.begin(), schedules.end(), byId);
  nk_serializer piece;
  auto const take = [&sha1, &piece] {
    sha1.Input(piece.data(), piece.size());
    piece.clearSer();
  };
  unsigned int size = count();
  piece.u32(size, nk_serializer::SER_WRITE);
  std::vector<nk_messageScheduleEntry*> entries;
  for (nk_messageSchedule* schedule : schedules) {
    take();
    entries.assign(schedule->m_entries.begin(), schedule->m_entries.end());
    if (asVersion >= VERSION_2) std::stable_sort(entries.begin(), entries.end(), byId);
    if (!scheduleBody(piece, asVersion, nullptr, schedule, entries)) return false;
  }
  take();
  return true;
}
