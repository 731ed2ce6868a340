#include "tools/nkctl/preview.h"

#include <algorithm>
#include <limits>
#include <set>

#include "tools/common/moment.h"
#include "tools/nkctl/table.h"

namespace {

constexpr unsigned int lastSecondOfDay = 86399;

// Fills in which entry of the running schedule it is.
void findEntry(tRunning& row, long long at) {
  auto const& schedule = *row.schedule;
  long long end = 0;
  schedule.endTime(end);
  // Both differences are not negative; unsigned, they cannot overflow.
  auto const rest = static_cast<unsigned long long>(end) - static_cast<unsigned long long>(at);
  auto offset =
      static_cast<unsigned long long>(at) - static_cast<unsigned long long>(schedule.startTime());
  auto const pass = schedule.overallDuration();
  bool const loops = schedule.loopSchedule() != 0 && pass != 0;
  if (loops) offset %= pass;
  auto left = std::numeric_limits<unsigned long long>::max();
  for (unsigned int i = 0; i < schedule.count(); ++i) {
    row.entry = schedule.getScheduleEntry(i);
    row.number = i + 1;
    bool const last = row.number == schedule.count();
    if (offset < row.entry->duration()) {
      if (loops || !last) left = row.entry->duration() - offset - 1;
      break;
    }
    offset -= row.entry->duration();
  }
  row.until = at + static_cast<long long>(std::min(left, rest));
}

bool crossesMidnight(tTimeSlot const& slot) { return slot.startTime() > slot.stopTime(); }

bool neverActive(tTimeSlot const& slot) {
  return crossesMidnight(slot) || slot.startTime() > lastSecondOfDay;
}

char const* slotState(tTimeSlot& slot, tTime& now) {
  if (neverActive(slot)) return "never active";
  return slot.activeAtTime(&now) ? "active" : "starts in";
}

// The same in words, with the time until the slot starts.
std::string slotWords(tTimeSlot& slot, tTime& now) {
  std::string const state = slotState(slot, now);
  return state != "starts in" ? state : state + " " + clockText(slot.delayToStart(&now));
}

}  // namespace

std::vector<tRunning> runningAt(nk_messageSetSchedulesReq const& set, long long at) {
  std::vector<tRunning> rows;
  std::set<unsigned short> idle;
  for (unsigned int i = set.count(); i-- != 0;) {
    auto const* const schedule = set.getSchedule(i);
    idle.insert(schedule->showOnLogicalDisplay());
    if (schedule->startTime() <= at && !schedule->scheduleExpired(at))
      rows.push_back({schedule->showOnLogicalDisplay(), schedule});
  }
  // Stable: of equal starts the last of the set stays first.
  std::stable_sort(rows.begin(), rows.end(), [](tRunning const& a, tRunning const& b) {
    if (a.display != b.display) return a.display < b.display;
    return a.schedule->startTime() > b.schedule->startTime();
  });
  for (auto& row : rows) {
    findEntry(row, at);
    row.hidden = idle.erase(row.display) == 0;
  }
  for (auto const display : idle) rows.push_back({display});
  std::stable_sort(rows.begin(), rows.end(),
                   [](tRunning const& a, tRunning const& b) { return a.display < b.display; });
  return rows;
}

std::string schedulesPreview(nk_messageSetSchedulesReq const& set, long long at) {
  tTable table;
  table.add({"display", "state", "uid", "schedule", "since", "entry", "image", "until"});
  for (auto const& row : runningAt(set, at)) {
    std::vector<std::string> cells{std::to_string(row.display)};
    if (row.schedule == nullptr) {
      cells.emplace_back("nothing");
    } else {
      cells.insert(cells.end(),
                   {row.hidden ? "hidden" : "shown", std::to_string(row.schedule->id()),
                    text(row.schedule->name()), momentText(row.schedule->startTime())});
    }
    if (row.schedule != nullptr && row.entry == nullptr) cells.emplace_back("no entries");
    if (row.entry != nullptr) {
      cells.insert(cells.end(),
                   {std::to_string(row.number) + "/" + std::to_string(row.schedule->count()) + " " +
                        text(row.entry->name()),
                    std::to_string(row.entry->imageId()), momentText(row.until)});
    }
    table.add(std::move(cells));
  }
  return table.text();
}

std::string slotsPreview(tTimeslots& slots, long long at) {
  if (slots.count() == 0) return "no time slots\n";
  tTime now(at);
  tTable table;
  table.add({"time slot", "from", "to", "activity", "state"});
  for (unsigned int i = 0; i < slots.count(); ++i) {
    auto& slot = *slots.get(i);
    table.add({text(slot.name()), clockText(slot.startTime()), clockText(slot.stopTime()),
               std::to_string(slot.activity()), slotWords(slot, now)});
  }
  return table.text();
}

void schedulesPreview(nk_messageSetSchedulesReq const& set, long long at, tJson& json) {
  for (auto const& row : runningAt(set, at)) {
    tJson one;
    one.addInt("display", row.display);
    one.addString("state", row.schedule == nullptr ? "nothing" : row.hidden ? "hidden" : "shown");
    if (row.schedule != nullptr) {
      one.addUInt64("uid", row.schedule->id());
      one.addString("schedule", row.schedule->name());
      one.addInt("since", row.schedule->startTime());
    }
    if (row.entry != nullptr) {
      one.addInt("number", row.number);
      one.addString("entry", row.entry->name());
      one.addUInt64("imageUid", row.entry->imageId());
      one.addInt("until", row.until);
    }
    json.addToArray("displays", std::move(one));
  }
}

void slotsPreview(tTimeslots& slots, long long at, tJson& json) {
  tTime now(at);
  for (unsigned int i = 0; i < slots.count(); ++i) {
    auto& slot = *slots.get(i);
    tJson one;
    one.addString("name", slot.name());
    one.addInt("start", slot.startTime());
    one.addInt("stop", slot.stopTime());
    one.addInt("activity", slot.activity());
    one.addString("state", slotState(slot, now));
    if (std::string_view(slotState(slot, now)) == "starts in")
      one.addInt("seconds", slot.delayToStart(&now));
    json.addToArray("timeslots", std::move(one));
  }
}

std::vector<std::string> scheduleWarnings(nk_messageSetSchedulesReq const& set) {
  std::vector<std::string> warnings;
  for (unsigned int i = 0; i < set.count(); ++i) {
    auto const& schedule = *set.getSchedule(i);
    long long end = 0;
    if (!schedule.endTime(end))
      warnings.push_back("the schedule with uid " + std::to_string(schedule.id()) +
                         " always counts as expired: it is of type " +
                         std::to_string(schedule.type()));
  }
  return warnings;
}

std::vector<std::string> slotWarnings(tTimeslots& slots) {
  std::vector<std::string> warnings;
  for (unsigned int i = 0; i < slots.count(); ++i) {
    auto const& slot = *slots.get(i);
    if (neverActive(slot))
      warnings.push_back("timeslots[" + std::to_string(i) + "] is never active: it " +
                         (crossesMidnight(slot) ? "crosses midnight" : "starts after the day"));
  }
  return warnings;
}
