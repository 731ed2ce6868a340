#include "nkProtocol/schedule.h"

#include <gtest/gtest.h>

namespace {

TEST(Schedule, ExpiresByItsType) {
  struct tRow {
    char const* name;
    unsigned int flags;
    long long start, stop;
    std::vector<unsigned int> durations;
    long long now;
    bool expired;
  };
  for (tRow const& row :
       {tRow{"type 0, last second", 0x00, 1000, 0, {10, 20}, 1030, false},
        tRow{"type 0, behind it", 0x00, 1000, 0, {10, 20}, 1031, true},
        tRow{"looping changes nothing", 0x01, 1000, 0, {10, 20}, 1031, true},
        tRow{"type 2", 0x02, 1000, 9999, {10}, 1011, true},
        tRow{"type 4", 0x04, 1000, 9999, {10}, 1010, false},
        tRow{"type 6, last second", 0x06, 1000, 5000, {10}, 5000, false},
        tRow{"type 6, behind it", 0x06, 1000, 5000, {9999}, 5001, true},
        tRow{"type 8 always", 0x08, 99999, 99999, {10}, 1, true},
        tRow{"type 14 always", 0x0F, 99999, 99999, {10}, 1, true},
        tRow{"other bits", 0x10, 1000, 0, {10}, 1010, false},
        tRow{"before 1970", 0x00, -100, 0, {10}, -90, false},
        tRow{"past 2106", 0x00, 1LL << 40, 0, {}, (1LL << 40) + 1, true},
        tRow{"at the end of time", 0x00, 0x7FFFFFFFFFFFFFFFLL, 0, {1}, 0, true}}) {
    nk_messageSchedule schedule(1, "s", row.start, row.stop, row.flags, 0);
    for (unsigned int const duration : row.durations) {
      schedule.addScheduleEntry(1, "", duration, 1, false);
    }
    EXPECT_EQ(schedule.scheduleExpired(row.now), row.expired) << row.name;
    EXPECT_EQ(schedule.type(), row.flags & 0x0E) << "types are the even numbers";
  }
}

TEST(Schedule, KnowsItsLastEntryAndItsLength) {
  nk_messageSchedule once(1, "", 0, 0, 0, 0);
  nk_messageSchedule looping(1, "", 0, 0, 1, 0);
  EXPECT_EQ(once.lastEntryImageId(), 0u);
  EXPECT_FALSE(once.scheduleEntryIsLastEntry(nullptr));
  for (nk_messageSchedule* schedule : {&once, &looping}) {
    for (unsigned int i = 1; i <= 3; ++i) {
      schedule->addScheduleEntry(7, "same", 0xFFFFFFFF, 7 + i / 3, false);
    }
    EXPECT_EQ(schedule->overallDuration(), 12884901885ULL);
    EXPECT_EQ(schedule->lastEntryImageId(), 8u);
    EXPECT_EQ(schedule->getScheduleEntry(3), nullptr);
    EXPECT_FALSE(schedule->scheduleEntryIsLastEntry(schedule->getScheduleEntry(1)));
    EXPECT_EQ(schedule->scheduleEntryIsLastEntry(schedule->getScheduleEntry(2)), schedule == &once);
  }
  EXPECT_EQ(looping.loopSchedule(), 1u);
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
  struct tRow {
    unsigned long long id;
    char const* name;
    long long start, stop;
    unsigned int flags;
    unsigned short display;
    std::vector<unsigned long long> images;
  };
  tRow const base{1, "a", 2, 3, 4, 5, {6, 7}};
  auto const make = [](tRow const& row) {
    auto schedule = std::make_unique<nk_messageSchedule>(row.id, row.name, row.start, row.stop,
                                                         row.flags, row.display);
    for (auto const image : row.images) schedule->addScheduleEntry(image, "e", 1, image, false);
    return schedule;
  };
  auto const original = make(base);
  auto const twin = make(base);
  twin->markAllEntriesHandled();
  EXPECT_TRUE(twin->getScheduleEntry(0)->handled());
  EXPECT_TRUE(original->compare(twin.get()));
  EXPECT_FALSE(original->compare(nullptr));
  for (tRow const& row :
       {tRow{2, "a", 2, 3, 4, 5, {6, 7}}, tRow{1, "b", 2, 3, 4, 5, {6, 7}},
        tRow{1, "a", 2 + (1LL << 32), 3, 4, 5, {6, 7}}, tRow{1, "a", 2, -3, 4, 5, {6, 7}},
        tRow{1, "a", 2, 3, 5, 5, {6, 7}}, tRow{1, "a", 2, 3, 4, 6, {6, 7}},
        tRow{1, "a", 2, 3, 4, 5, {6}}, tRow{1, "a", 2, 3, 4, 5, {7, 6}}}) {
    EXPECT_FALSE(original->compare(make(row).get()));
  }
  nk_messageScheduleEntry const entry(1, "e", 2, 3, false);
  for (auto other :
       {nk_messageScheduleEntry(2, "e", 2, 3, false), nk_messageScheduleEntry(1, "f", 2, 3, false),
        nk_messageScheduleEntry(1, "e", 3, 3, false),
        nk_messageScheduleEntry(1, "e", 2, 4, false)}) {
    EXPECT_FALSE(entry.compare(&other));
  }
  EXPECT_FALSE(entry.compare(nullptr));
}

}  // namespace
