#include "nkProtocol/schedule.h"

#include <gtest/gtest.h>

namespace {

TEST(Schedule, ExpiresByItsType) {
  constexpr long long endOfTime = 0x7FFFFFFFFFFFFFFF;
  struct {
    unsigned int flags;
    long long start, stop, now;
    bool expired;
  } const rows[] = {
      {0x00, 1000, 0, 1030, false},    {0x00, 1000, 0, 1031, true},
      {0x01, 1000, 0, 1031, true},  // looping changes nothing
      {0x02, 1000, 9999, 1031, true},  {0x04, 1000, 9999, 1030, false},
      {0x06, 1000, 5000, 5000, false}, {0x06, 1000, 1020, 1021, true},
      {0x08, 99999, 99999, 1, true},   {0x0F, 99999, 99999, 1, true},
      {0x10, 1000, 0, 1030, false},    {0x00, -100, 0, -70, false},
      {0x00, endOfTime, 0, 0, true},
  };
  for (auto const& row : rows) {
    nk_messageSchedule schedule(1, "s", row.start, row.stop, row.flags, 0);
    for (unsigned int const duration : {10U, 20U}) {
      schedule.addScheduleEntry(1, "", duration, 1, false);
    }
    EXPECT_EQ(schedule.scheduleExpired(row.now), row.expired) << row.flags << ' ' << row.now;
    EXPECT_EQ(schedule.type(), row.flags & 0x0E) << "types are the even numbers";
  }
}

TEST(Schedule, KnowsItsLastEntryAndItsLength) {
  EXPECT_EQ(nk_messageSchedule(1, "", 0, 0, 0, 0).lastEntryImageId(), 0u);
  for (unsigned int const loops : {0U, 1U}) {
    nk_messageSchedule schedule(1, "", 0, 0, loops, 0);
    EXPECT_FALSE(schedule.scheduleEntryIsLastEntry(nullptr));
    for (unsigned int i = 1; i <= 3; ++i) {
      schedule.addScheduleEntry(7, "same", 0xFFFFFFFF, 7 + i / 3, false);
    }
    EXPECT_EQ(schedule.overallDuration(), 12884901885ULL);
    EXPECT_EQ(schedule.lastEntryImageId(), 8u);
    EXPECT_EQ(schedule.getScheduleEntry(3), nullptr);
    EXPECT_FALSE(schedule.scheduleEntryIsLastEntry(schedule.getScheduleEntry(1)));
    EXPECT_EQ(schedule.scheduleEntryIsLastEntry(schedule.getScheduleEntry(2)), loops == 0);
  }
}

TEST(Schedule, SortsItsEntriesByIdAsUnsignedNumbers) {
  nk_messageSchedule schedule(1, "", 0, 0, 0, 0);
  unsigned int duration = 0;
  for (unsigned long long const id : {5ULL, 1ULL << 63, 1ULL, 5ULL, 2ULL}) {
    schedule.addScheduleEntry(id, "", ++duration, 0, false);
  }
  schedule.sort();
  std::vector<unsigned int> order;
  for (unsigned int i = 0; i < schedule.count(); ++i) {
    order.push_back(schedule.getScheduleEntry(i)->duration());
  }
  EXPECT_EQ(order, (std::vector<unsigned int>{3, 5, 1, 4, 2}));
}

TEST(Schedule, IsEqualInAllButTheMarks) {
  using tMade = std::unique_ptr<nk_messageSchedule>;
  using tEntries = std::vector<nk_messageScheduleEntry>;
  auto const make = [](nk_messageSchedule* made, tEntries const& entries) {
    for (auto const& entry : entries) {
      made->addScheduleEntry(entry.id(), entry.name(), entry.duration(), entry.imageId(), false);
    }
    return tMade(made);
  };
  tEntries const two{{6, "e", 1, 6, false}, {7, "e", 1, 7, false}};
  auto const original = make(new nk_messageSchedule(1, "a", 2, 3, 4, 5), two);
  auto const twin = make(new nk_messageSchedule(1, "a", 2, 3, 4, 5), two);
  twin->markAllEntriesHandled();
  EXPECT_TRUE(twin->getScheduleEntry(0)->handled() && original->compare(twin.get()));
  EXPECT_FALSE(original->compare(nullptr) || two[0].compare(nullptr));
  for (auto* const other :
       {new nk_messageSchedule(2, "a", 2, 3, 4, 5), new nk_messageSchedule(1, "b", 2, 3, 4, 5),
        new nk_messageSchedule(1, "a", 2 + (1LL << 32), 3, 4, 5),
        new nk_messageSchedule(1, "a", 2, -3, 4, 5), new nk_messageSchedule(1, "a", 2, 3, 5, 5),
        new nk_messageSchedule(1, "a", 2, 3, 4, 6)}) {
    EXPECT_FALSE(original->compare(make(other, two).get()));
  }
  for (tEntries const& others : {tEntries{two[0]},
                                 {two[1], two[0]},
                                 {two[0], {8, "e", 1, 7, false}},
                                 {two[0], {7, "f", 1, 7, false}},
                                 {two[0], {7, "e", 2, 7, false}},
                                 {two[0], {7, "e", 1, 8, false}}}) {
    auto const other = make(new nk_messageSchedule(1, "a", 2, 3, 4, 5), others);
    EXPECT_FALSE(original->compare(other.get()));
  }
}

}  // namespace
