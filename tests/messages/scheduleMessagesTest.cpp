#include "nkProtocol/scheduleMessages.h"

#include <gtest/gtest.h>

#include "golden.h"
#include "harness/hex.h"
#include "nkSupport/tCompression.h"
#include "nkSupport/tTime.h"
#include "reading.h"

namespace {

using tSet = nk_messageSetSchedulesReq;

std::unique_ptr<nk_message> twoSchedules(nk_message::teVersion version) {
  auto set = std::make_unique<tSet>(version);
  auto* schedule = set->addSchedule_(1ULL << 63, "night", -1LL, 1LL << 40, 0x12345u, 9);
  schedule->addScheduleEntry(2, "e", 3, ~0ULL, true);
  schedule->addScheduleEntry(1, "", 4, 5, false);
  set->addSchedule_(7, "day", 1698894388LL, 1698980788LL, 7u, 0);
  return set;
}

#define SCHEDULES_JSON                                                                        \
  R"({"action":"schedules","type":"request","tv":1,"schedules":[{"uid":9223372036854775808,)" \
  R"("name":"night","startTime":-1,"stopTime":1099511627776,"flags":74565,"frame":74565,)"    \
  R"("entries":[{"name":"e","uid":2,"duration":3,"imageUid":18446744073709551615},)"          \
  R"({"name":"","uid":1,"duration":4,"imageUid":5}]},{"uid":7,"name":"day",)"                 \
  R"("startTime":1698894388,"stopTime":1698980788,"flags":7,"frame":7}]})"

}  // namespace

std::vector<tGoldenRow> scheduleMessageRows() {
  constexpr bool losesEntries = false;
  return {
      {"SET_SCHEDULES_REQ", twoSchedules, SCHEDULES_JSON, losesEntries},
      {"SET_SCHEDULES_RSP",
       [](auto version) {
         return withChecksum<nk_messageSetSchedulesRsp>(version,
                                                        "76f2fbebd5e504626e4386a8486c25da5c344c5d");
       },
       R"({"action":"schedules","type":"response","tv":1,)"
       R"("cs":"76f2fbebd5e504626e4386a8486c25da5c344c5d"})"},
  };
}

namespace {

/// What a set holds, in short: "id:display(image*,image)" with * for handled entries.
std::string shape(tSet const& set) {
  std::string text;
  for (unsigned int i = 0; i < set.count(); ++i) {
    nk_messageSchedule const& schedule = *set.getSchedule(i);
    text += (i != 0 ? " " : "") + std::to_string(schedule.id());
    text += ":" + std::to_string(schedule.showOnLogicalDisplay()) + "(";
    for (unsigned int k = 0; k < schedule.count(); ++k) {
      auto const& entry = *schedule.getScheduleEntry(k);
      text += (k != 0 ? "," : "") + std::to_string(entry.imageId()) + (entry.handled() ? "*" : "");
    }
    text += ")";
  }
  return text;
}

using tIds = std::vector<std::pair<unsigned int, unsigned short>>;

/// A set of schedules {id, display} with one entry each, which shows image 10 * id.
std::unique_ptr<tSet> setOf(tIds const& schedules, bool handled = false) {
  auto set = std::make_unique<tSet>(nk_message::VERSION_2);
  for (auto const& [id, display] : schedules) {
    set->addSchedule_(id, "", 0LL, 0LL, 0u, display)
        ->addScheduleEntry(id, "", 1, 10ULL * id, handled);
  }
  return set;
}

TEST(Schedules, JsonReadsTheSharedEntriesAndTheFrameAsDisplay) {
  tSet set(nk_message::VERSION_2);
#define SET R"({"action":"schedules","type":"request","tv":1)"
  for (auto const& [json, expected] :
       {std::pair{SCHEDULES_JSON, "9223372036854775808:9029() 7:7()"},
        {SET R"(,"schedules":[{"uid":1,"frame":65537},{"uid":2}],)"
             R"("entries":[{"imageUid":3},{"imageUid":4}]})",
         "1:1(3,4) 2:0(3,4)"},
        {SET "}", ""}}) {
    EXPECT_TRUE(readJson(set, json));
    EXPECT_EQ(shape(set), expected);
  }
}

// Shared entries multiply: a short text can ask for a huge set. A set is taken up to the ceiling of
// decoded content, measured as the body that it would have.
TEST(Schedules, JsonSetsAreTakenUpToTheCeilingOfContent) {
  std::string text = R"({"action":"schedules","type":"request","tv":1,"schedules":[{"name":"ab"})";
  for (int i = 0; i < 9; ++i) text += ",{}";
  text += R"(],"entries":[{"name":"c"},{}]})";
  tSet set(nk_message::VERSION_2);
  ASSERT_TRUE(readJson(set, text));
  unsigned int const size = bodyOf(set).size() - 4;  // less the number of schedules
  unsigned int const before = tCompression::maxDecodedSize();
  for (unsigned int const ceiling : {size, size - 1}) {
    tCompression::setMaxDecodedSize(ceiling);
    EXPECT_EQ(readJson(set, text), ceiling == size);
  }
  tCompression::setMaxDecodedSize(before);
}

TEST(Schedules, ReadTimesFromText) {
  auto const nowhere = static_cast<unsigned int>(tTime().year(0).month(0).mDay(0).timeSec());
  for (auto const& [text, seconds] : {std::pair{"", 0U},
                                      {"2024-03-01 08:30:59", 1709281859},
                                      {"2024-03-01", 1709251200},
                                      {"2024-02-29 23:59:59.999", 1709251199},
                                      {"2106-02-07 06:28:15.", 0xFFFFFFFF},
                                      {"2106-02-07 06:28:16.", 0},
                                      {"2024-257-257 256:00:00.", 1704067200},
                                      {"words", nowhere}}) {
    EXPECT_EQ(tSet::getStartTimeFromString(text), seconds) << text;
  }
  tSet set(nk_message::VERSION_2);
  auto* schedule = set.addSchedule_(1, "", "2106-02-07 06:28:15.", "2024-03-01 08:30:00.000", 0, 0);
  EXPECT_EQ(schedule->startTime(), 4294967295LL) << "never negative";
  EXPECT_EQ(schedule->stopTime(), 1709281800LL);
}

TEST(Schedules, MergeKeepsEqualOnesAndTheirMarks) {
  struct {
    tIds own, other;
    char const* merged;
    bool dropped = false;
  } const rows[] = {
      {{{1, 0}, {2, 0}}, {{2, 0}, {1, 0}}, "1:0(10*) 2:0(20*)"},
      {{{1, 0}, {2, 0}}, {{1, 9}, {2, 0}}, "2:0(20*) 1:9(10)"},  // a changed one goes to the end
      {{}, {{1, 0}, {2, 0}}, "1:0(10) 2:0(20)"},
      // Of neighbours every second one is dropped.
      {{{1, 0}, {2, 0}, {3, 0}}, {{2, 0}}, "2:0(20*)", true},
      {{{1, 0}, {2, 0}, {3, 0}, {4, 0}}, {}, "2:0(20*) 4:0(40*)", true},
      // Of repeated ids the first one counts.
      {{{1, 0}, {1, 5}}, {{1, 5}}, "1:5(10*) 1:5(10)"},
      {{{1, 0}}, {{1, 1}, {1, 2}}, "1:2(10)"},
  };
  for (auto const& row : rows) {
    auto const own = setOf(row.own, true), other = setOf(row.other);
    std::string const before = shape(*other);
    EXPECT_EQ(own->setSchedulesFromWithoutClear(other.get()), row.dropped) << row.merged;
    EXPECT_EQ(shape(*own), row.merged);
    EXPECT_EQ(shape(*other), before);
  }
  auto const set = setOf({{1, 0}}, true), copy = setOf({{5, 5}});
  EXPECT_FALSE(set->setSchedulesFromWithoutClear(nullptr) ||
               set->setSchedulesFromWithoutClear(set.get()));
  set->setSchedulesFrom(nullptr);
  EXPECT_EQ(shape(*set), "1:0(10*)");
  copy->setSchedulesFrom(set.get());
  EXPECT_EQ(shape(*copy), "1:0(10)");
}

TEST(Schedules, AreFoundByIdentity) {
  auto const set = setOf({{1, 0}, {2, 0}}), other = setOf({{2, 7}});
  auto *const first = set->getSchedule(0), *const second = set->getSchedule(1);
  EXPECT_EQ(set->schedulePresent(other->getSchedule(0)), second);
  EXPECT_EQ(other->schedulePresent(first), nullptr);
  EXPECT_EQ(set->getScheduleForEntry(second->getScheduleEntry(0)), second);
  EXPECT_EQ(set->getScheduleForEntry(other->getSchedule(0)->getScheduleEntry(0)), nullptr);
  EXPECT_EQ(set->getScheduleForEntry(nullptr), nullptr);
  EXPECT_EQ(set->addSchedule(nullptr), nullptr);
  set->removeSchedule(other->getSchedule(0));
  set->removeSchedule(nullptr);
  EXPECT_EQ(set->count(), 2u);
  set->removeSchedule(first);
  EXPECT_EQ(shape(*set), "2:0(20)");
  EXPECT_EQ(set->getSchedule(1), nullptr);
  for (unsigned int const image : {20u, 0u}) second->addScheduleEntry(1, "", 1, image, false);
  tUidList uids{99};
  set->getRequiredImageUidList(uids);
  EXPECT_EQ(uids, (tUidList{20, 20, 0}));
}

}  // namespace
