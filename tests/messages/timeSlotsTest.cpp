#include "nkProtocol/timeSlots.h"

#include <gtest/gtest.h>

namespace {

constexpr unsigned int none = tTimeSlot::noDelay;

unsigned int at(unsigned int hour, unsigned int minute = 0, unsigned int second = 0) {
  return hour * 3600 + minute * 60 + second;
}

TEST(TimeSlot, IsActiveBetweenItsEndsAndKnowsItsNextStart) {
  tTimeSlot const morning("morning", at(8), at(10), true, false);
  tTimeSlot const night("night", at(22), at(6), true, false);
  struct tRow {
    tTimeSlot const& slot;
    unsigned int now;
    bool active;
    unsigned int delay;
  };
  for (tRow const& row :
       {tRow{morning, at(7, 59), false, 60}, tRow{morning, at(8), true, none},
        tRow{morning, at(8, 0, 1), true, 86399}, tRow{morning, at(10), true, 79200},
        tRow{morning, at(10, 0, 1), false, 79199}, tRow{morning, at(10, 30), false, 77400},
        tRow{night, at(23), false, 82800}, tRow{night, at(3), false, at(19)},
        tRow{night, at(22), false, none}}) {
    SCOPED_TRACE(std::string(row.slot.name().c_str()) + " at " + std::to_string(row.now));
    tTime now(86400LL * 20000 + row.now);
    EXPECT_EQ(row.slot.activeAtTime(&now), row.active);
    EXPECT_EQ(row.slot.delayToStart(&now), row.delay);
  }
  EXPECT_FALSE(morning.activeAtTime(nullptr));
  EXPECT_EQ(morning.delayToStart(nullptr), none);
}

TEST(TimeSlots, TellHowLongToTheNextStart) {
  struct tRow {
    std::vector<std::pair<unsigned int, unsigned int>> slots;
    unsigned int now, duration;
  };
  for (tRow const& row :
       {tRow{{}, at(10), 0}, tRow{{{at(9), at(9, 30)}, {at(12), at(13)}}, at(10), 7200},
        tRow{{{at(12), at(13)}, {at(9), at(9, 30)}}, at(8), 3600},
        tRow{{{at(9), at(11)}, {at(12), at(13)}}, at(10), 0}, tRow{{{at(8), at(10)}}, at(8), 0},
        // Never active, and at its start without a delay: nothing to wait for.
        tRow{{{at(22), at(6)}}, at(22), 0}, tRow{{{at(22), at(6)}}, at(23), 82800}}) {
    tTimeslots list;
    for (auto const& [start, stop] : row.slots) list.add("", start, stop, 0u);
    tTime now(row.now);
    EXPECT_EQ(list.durationToNext(now), row.duration) << row.now;
  }
}

TEST(TimeSlots, KeepTheirFlagWords) {
  EXPECT_EQ(tTimeSlot("", 0, 10, false, true).activity(), 2u);
  tTimeSlot word("", 0, 10, 0xF1u);
  word.setActivity(false, true);
  EXPECT_EQ(word.activity(), 0xF2u);
}

TEST(TimeSlots, CopyDeepAndRefuseWhatIsNotThere) {
  tTimeslots list;
  list.setSleepUserEnable(true);
  list.add("a", 1, 2, true, false);
  list.add("b", 3, 4, 7u);
  tTimeslots copy(list);
  copy = *&copy;
  list.get(0)->setActivity(true, true);
  list.remove(5);
  list.remove(0);
  EXPECT_TRUE(list.count() == 1 && list.get(0)->name() == "b");
  ASSERT_EQ(copy.count(), 2u);
  EXPECT_TRUE(copy.getSleepUserEnabled() && copy.get(0)->activity() == 1);
  tTimeSlot out;
  EXPECT_TRUE(copy.get(1, &out) && copy.setTimeslot(0, out));
  EXPECT_EQ(copy.get(0)->activity(), 7u);
  EXPECT_FALSE(copy.get(2, &out) || copy.get(0, nullptr) || copy.setTimeslot(2, out));
  EXPECT_EQ(copy.get(2), nullptr);
}

}  // namespace
