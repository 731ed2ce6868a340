#include "tools/nkctl/preview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "tools/common/moment.h"

namespace {

struct tSpec {
  unsigned long long uid;
  unsigned short display;
  long long start, stop;
  unsigned int flags;
  std::vector<unsigned int> durations;
};

void fill(nk_messageSetSchedulesReq& set, std::vector<tSpec> const& specs) {
  for (auto const& [uid, display, start, stop, flags, durations] : specs) {
    auto* const one = set.addSchedule_(uid, "s", start, stop, flags, display);
    for (unsigned int id = 1; id <= durations.size(); ++id)
      one->addScheduleEntry(id, "e", durations[id - 1], id, false);
  }
}

// "display:uid.entry-until", with h for hidden; "display:" where nothing runs.
std::string shown(nk_messageSetSchedulesReq const& set, long long at) {
  std::string text;
  for (auto const& row : runningAt(set, at)) {
    text += (text.empty() ? "" : " ") + std::to_string(row.display) + ":";
    if (row.schedule == nullptr) continue;
    text += std::to_string(row.schedule->id()) + "." + std::to_string(row.number) + "-" +
            std::to_string(row.until) + (row.hidden ? "h" : "");
  }
  return text;
}

TEST(preview, showsWhatTheRulesSay) {
  std::vector<tSpec> const once{{1, 0, 100, 0, 0, {10, 20}}}, looping{{1, 0, 100, 0, 5, {10, 20}}},
      untilStop{{1, 0, 100, 199, 6, {10, 20}}}, loopingUntilStop{{1, 0, 100, 199, 7, {10, 20}}},
      two{{1, 3, 100, 500, 6, {9}},
          {2, 3, 200, 500, 6, {9}},
          {3, 3, 200, 500, 6, {9}},
          {4, 1, 0, 500, 6, {}},
          {5, 2, 0, 500, 8, {9}}},
      zero{{1, 0, 0, 99, 7, {0, 0}}, {2, 1, 0, 99, 6, {0, 5, 0, 5}}},
      extreme{{1, 0, LLONG_MIN, LLONG_MAX, 7, {5}}, {2, 1, LLONG_MAX, 0, 0, {5}}};
  struct {
    std::vector<tSpec> const& specs;
    long long at;
    std::string shown;
  } const rows[] = {
      {once, 99, "0:"},
      {once, 100, "0:1.1-109"},
      {once, 109, "0:1.1-109"},
      {once, 110, "0:1.2-130"},
      {once, 130, "0:1.2-130"},  // the end itself belongs to the schedule
      {once, 131, "0:"},
      {looping, 130, "0:1.1-130"},
      {looping, 131, "0:"},  // one pass counts, looping or not
      {untilStop, 150, "0:1.2-199"},
      {untilStop, 200, "0:"},
      {loopingUntilStop, 131, "0:1.1-139"},
      {loopingUntilStop, 190, "0:1.1-199"},
      {loopingUntilStop, 145, "0:1.2-159"},
      {two, 150, "1:4.0-500 2: 3:1.1-500"},
      {two, 200, "1:4.0-500 2: 3:3.1-500 3:2.1-500h 3:1.1-500h"},
      {zero, 50, "0:1.2-99 1:2.4-99"},
      {zero, 2, "0:1.2-99 1:2.2-4"},
      {extreme, LLONG_MAX, "0:1.1-9223372036854775807 1:"},
      {extreme, LLONG_MIN, "0:1.1--9223372036854775804 1:"},
  };
  for (auto const& row : rows) {
    nk_messageSetSchedulesReq set(nk_message::VERSION_3);
    fill(set, row.specs);
    EXPECT_EQ(shown(set, row.at), row.shown) << row.at;
  }
}

TEST(preview, tablesAndWarnings) {
  nk_messageSetSchedulesReq set(nk_message::VERSION_3);
  fill(set, {{18446744073709551615u, 7, 0, 90, 6, {60, 60}}, {2, 8, 0, 0, 14, {1}}});
  set.addSchedule_(3, "\x1b[2Jüber", 5, 0, 0, 7)->addScheduleEntry(1, "e", 60, 9, false);
  EXPECT_EQ(schedulesPreview(set, 61),
            "display  state    uid                   schedule  since                entry  image  "
            "until\n"
            "7        shown    3                     ?[2Jüber  1970-01-01 00:00:05  1/1 e  9      "
            "1970-01-01 00:01:05\n"
            "7        hidden   18446744073709551615  s         1970-01-01 00:00:00  2/2 e  2      "
            "1970-01-01 00:01:30\n"
            "8        nothing\n");
  EXPECT_EQ(scheduleWarnings(set), std::vector<std::string>{"the schedule with uid 2 always counts "
                                                            "as expired: it is of type 14"});
  tTimeslots slots;
  slots.add("day", 3600, 7200, 3);
  slots.add("night", 80000, 100, 1);
  slots.add("late", 86400, 90000, 1);
  for (auto const& [at, state] : {std::pair(3599, "starts in 00:00:01"),
                                  {3600, "active"},
                                  {7200, "active"},
                                  {7201, "starts in 22:59:59"}})
    EXPECT_EQ(slotsPreview(slots, 86400 + at),
              "time slot  from      to        activity  state\n"
              "day        01:00:00  02:00:00  3         " +
                  std::string(state) +
                  "\n"
                  "night      22:13:20  00:01:40  1         never active\n"
                  "late       24:00:00  25:00:00  1         never active\n");
  EXPECT_EQ(slotWarnings(slots),
            (std::vector<std::string>{"timeslots[1] is never active: it crosses midnight",
                                      "timeslots[2] is never active: it starts after the day"}));
}

TEST(preview, momentsAreReadAsTheLibraryReadsThemOrRefused) {
  struct {
    std::string text;
    long long seconds;
    std::string back;
  } const rows[] = {
      {"2024-02-29 23:59:59", 1709251199, "2024-02-29 23:59:59"},
      {"2106-02-07 06:28:15", 4294967295, "2106-02-07 06:28:15"},
      {"4294967296", 4294967296, "2106-02-07 06:28:16"},
      {"-1", -1, "1969-12-31 23:59:59"},
      {"9223372036854775807", LLONG_MAX, "9223372036854775807"},
  };
  for (auto const& row : rows) {
    long long seconds = -7;
    EXPECT_TRUE(parseMoment(row.text, seconds)) << row.text;
    EXPECT_EQ(seconds, row.seconds) << row.text;
    EXPECT_EQ(momentText(seconds), row.back);
  }
  for (char const* const text :
       {"2106-02-07 06:28:16", "1969-12-31 23:59:59", "2023-02-29 00:00:00", "2024-01-01 24:00:00",
        "2024-1-01 00:00:00", "2024-01-01 00:00:00 ", "2024-01-01", ""}) {
    long long seconds = -7;
    EXPECT_FALSE(parseMoment(text, seconds)) << text;
    EXPECT_EQ(seconds, -7) << text;
  }
}

}  // namespace
