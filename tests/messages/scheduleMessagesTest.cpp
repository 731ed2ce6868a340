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

TEST(Schedules, ReadingAddsToWhatIsThere) {
  auto const set = setOf({{1, 0}});
  nk_serializer body = bodyOf(*setOf({{2, 0}}));
  EXPECT_TRUE(set->serialize(&body, nk_serializer::SER_READ));
  EXPECT_EQ(shape(*set), "1:0(10) 2:0(20)");
}

TEST(Schedules, JsonReadsTheSharedEntriesAndTheFrameAsDisplay) {
  tSet set(nk_message::VERSION_2);
  struct tRow {
    char const* json;
    char const* shape;
  };
  for (tRow const& row :
       {tRow{SCHEDULES_JSON, "9223372036854775808:9029() 7:7()"},
        tRow{
            R"({"action":"schedules","type":"request","tv":1,"schedules":[{"uid":1,"frame":65537},)"
            R"({"uid":2}],"entries":[{"imageUid":3},{"imageUid":4}]})",
            "1:1(3,4) 2:0(3,4)"},
        tRow{R"({"action":"schedules","type":"request","tv":1})", ""}}) {
    EXPECT_TRUE(readJson(set, row.json));
    EXPECT_EQ(shape(set), row.shape);
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
  struct tRow {
    char const* text;
    unsigned int seconds;
  };
  for (tRow const& row :
       {tRow{"", 0}, tRow{"2024-03-01 08:30:00.000", 1709281800},
        tRow{"2024-03-01 08:30:59", 1709281859}, tRow{"2024-03-01", 1709251200},
        tRow{"2024-02-29 23:59:59.999", 1709251199}, tRow{"1970-01-01 00:00:00.0", 0},
        tRow{"2106-02-07 06:28:15.", 0xFFFFFFFF}, tRow{"2106-02-07 06:28:16.", 0},
        tRow{"2024-257-257 256:00:00.", 1704067200}, tRow{"words", nowhere},
        tRow{"---", nowhere}}) {
    EXPECT_EQ(tSet::getStartTimeFromString(row.text), row.seconds) << row.text;
  }
  tSet set(nk_message::VERSION_2);
  auto* schedule = set.addSchedule_(1, "", "2106-02-07 06:28:15.", "2024-03-01 08:30:00.000", 0, 0);
  EXPECT_EQ(schedule->startTime(), 4294967295LL) << "never negative";
  EXPECT_EQ(schedule->stopTime(), 1709281800LL);
}

void merges(tIds const& ownIds, tIds const& otherIds, char const* merged, bool dropped = false) {
  SCOPED_TRACE(merged);
  auto const own = setOf(ownIds, true);
  auto const other = setOf(otherIds);
  std::string const before = shape(*other);
  EXPECT_EQ(own->setSchedulesFromWithoutClear(other.get()), dropped);
  EXPECT_EQ(shape(*own), merged);
  EXPECT_EQ(shape(*other), before);
}

TEST(Schedules, MergeKeepsEqualOnesAndTheirMarks) {
  merges({{1, 0}, {2, 0}}, {{2, 0}, {1, 0}}, "1:0(10*) 2:0(20*)");
  // A changed one goes to the end.
  merges({{1, 0}, {2, 0}}, {{1, 9}, {2, 0}}, "2:0(20*) 1:9(10)");
  merges({}, {{1, 0}, {2, 0}}, "1:0(10) 2:0(20)");
  merges({{1, 0}, {2, 0}, {3, 0}}, {{2, 0}}, "2:0(20*)", true);
  // Of neighbours every second one is dropped.
  merges({{1, 0}, {2, 0}, {3, 0}, {4, 0}}, {}, "2:0(20*) 4:0(40*)", true);
  merges({{1, 0}, {2, 0}, {3, 0}, {4, 0}}, {{4, 0}}, "2:0(20*) 4:0(40*)", true);
  // Of repeated ids the first one counts.
  merges({{1, 0}, {1, 5}}, {{1, 5}}, "1:5(10*) 1:5(10)");
  merges({{1, 0}}, {{1, 1}, {1, 2}}, "1:2(10)");
  auto const set = setOf({{1, 0}}, true);
  EXPECT_FALSE(set->setSchedulesFromWithoutClear(nullptr) ||
               set->setSchedulesFromWithoutClear(set.get()));
  set->setSchedulesFrom(nullptr);
  EXPECT_EQ(shape(*set), "1:0(10*)");
  auto const copy = setOf({{5, 5}});
  copy->setSchedulesFrom(set.get());
  EXPECT_EQ(shape(*copy), "1:0(10)");
}

TEST(Schedules, TheChecksumLeavesTheSetAndItsMarksAlone) {
  auto const set = setOf({{3, 0}, {1, 0}, {2, 0}});
  set->getSchedule(0)->addScheduleEntry(0, "first by id", 1, 1, false);
  auto const before = set->checksum(nk_message::VERSION_2);
  EXPECT_EQ(shape(*set), "3:0(30,1) 1:0(10) 2:0(20)");
  set->getSchedule(0)->markAllEntriesHandled();
  EXPECT_EQ(set->checksum(nk_message::VERSION_2), before);
}

TEST(Schedules, AreFoundByIdentity) {
  auto const set = setOf({{1, 0}, {2, 0}});
  auto const other = setOf({{2, 7}});
  EXPECT_EQ(set->schedulePresent(other->getSchedule(0)), set->getSchedule(1));
  EXPECT_EQ(other->schedulePresent(set->getSchedule(0)), nullptr);
  EXPECT_EQ(set->getScheduleForEntry(set->getSchedule(1)->getScheduleEntry(0)),
            set->getSchedule(1));
  EXPECT_EQ(set->getScheduleForEntry(other->getSchedule(0)->getScheduleEntry(0)), nullptr);
  EXPECT_EQ(set->getScheduleForEntry(nullptr), nullptr);
  set->removeSchedule(other->getSchedule(0));
  set->removeSchedule(nullptr);
  EXPECT_EQ(set->count(), 2u);
  EXPECT_EQ(set->addSchedule(nullptr), nullptr);
  set->removeSchedule(set->getSchedule(0));
  EXPECT_EQ(shape(*set), "2:0(20)");
  EXPECT_EQ(set->getSchedule(1), nullptr);
  set->getSchedule(0)->addScheduleEntry(1, "", 1, 20, false);
  set->getSchedule(0)->addScheduleEntry(1, "", 1, 0, false);
  tUidList uids{99};
  set->getRequiredImageUidList(uids);
  EXPECT_EQ(uids, (tUidList{20, 20, 0}));
}

}  // namespace
