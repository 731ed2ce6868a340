#include "nkProtocol/configMessages.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "golden.h"
#include "harness/hex.h"
#include "reading.h"

namespace {

using tConfig = nk_messageSetConfigReq;

void fill(tConfig& config) {
  config.updateTime = 3600;
  config.minUpdateTemp = -128;
  config.balanceTime = 2;
  config.updateTemp = -1;
  config.opMode = 2;
  config.heatMode = 0;
  config.setDisplaySwConfiguration(0x0102);
  config.setDefaultLogicalDisplay(0x0304);
  config.setSlideShowInterval_s(0x0506);
  config.sleep_setUserEnabled(true);
  config.timeSlot_add_ts("day", 28800, 36000, true, false);
  config.timeSlot_add_ts("", 1, 2, 0xFFFFFFFFu);
  config.device_setName("Süd \"3\"\\\t\x1f/");
  config.frm_change_ts("clock", 1, 2, 3, 4, 300, 5, 6);
  config.frm_change_ts("", 0, 0, 0, 0, 0, 0, 0);
}

std::unique_ptr<nk_message> filled(nk_message::teVersion version) {
  auto config = std::make_unique<tConfig>(version);
  fill(*config);
  return config;
}

}  // namespace

std::vector<tGoldenRow> configMessageRows() {
  return {
      {"SET_CONFIG_REQ (new panel)", fresh<tConfig>,
       R"({"action":"config","type":"request","tv":1,"updateTime":46800,"minUpdateTemp":-20,)"
       R"("balanceTime":3,"updateTemp":5,"opMode":0,"heatMode":1,"curDispSwCfg":0,)"
       R"("defaultLogicalDisplay":0,"slideshowInterval_sec":5,"sleepUserEna":false,)"
       R"("deviceName":""})"},
      {"SET_CONFIG_REQ", filled,
       R"({"action":"config","type":"request","tv":1,"updateTime":3600,"minUpdateTemp":-128,)"
       R"("balanceTime":2,"updateTemp":-1,"opMode":2,"heatMode":0,"curDispSwCfg":258,)"
       R"("defaultLogicalDisplay":772,"slideshowInterval_sec":1286,"sleepUserEna":true,)"
       R"("timeslots":[{"name":"day","start":28800,"stop":36000,"activity":1},)"
       R"({"name":"","start":1,"stop":2,"activity":4294967295}],)"
       R"("deviceName":"Süd \"3\"\\\t\u001F/","frames":[)"
       R"({"name":"clock","left":1,"top":2,"width":3,"height":4,"id":300,"logDisp":5,)"
       R"("realtimeTimeout":6},{"name":"","left":0,"top":0,"width":0,"height":0,"id":10,)"
       R"("logDisp":0,"realtimeTimeout":0}]})"},
      {"SET_CONFIG_RSP",
       [](auto version) {
         return withChecksum<nk_messageSetConfigRsp>(version,
                                                     "dbeb550822f9d61688831c00aae8b4d87a4c31be");
       },
       R"({"action":"config","type":"response","tv":1,)"
       R"("cs":"dbeb550822f9d61688831c00aae8b4d87a4c31be"})"},
  };
}

namespace {

TEST(Config, AShortBodyLeavesTheDefaults) {
  tBlob const whole = harness::hex("05 00 03 00 01 00 00 00 80 02 ff 02 00 02 01");
  for (unsigned int size = 4; size <= whole.size(); ++size) {
    auto const read = readMessage<tConfig>(tBlob(whole.data(), size));
    EXPECT_EQ(read->updateTime, size >= 8 ? 1u : 46800u);
    EXPECT_EQ(read->minUpdateTemp, size >= 9 ? -128 : -20);
    EXPECT_EQ(read->balanceTime, size >= 10 ? 2 : 3);
    EXPECT_EQ(read->heatMode, size >= 13 ? 0 : 1);
    EXPECT_EQ(read->slideshowInterval_sec, 5);
  }
}

TEST(Config, OnlyTheSetterOfTheIntervalClamps) {
  tConfig config(nk_message::VERSION_3);
  config.setSlideShowInterval_s(2);
  EXPECT_EQ(config.getSlideShowInterval_s(), 5);
  ASSERT_TRUE(readJson(
      config, R"({"action":"config","type":"request","tv":1,"slideshowInterval_sec":2,"opMode":7,)"
              R"("heatMode":263,"minUpdateTemp":236})"));
  EXPECT_EQ(config.getSlideShowInterval_s(), 2);
  EXPECT_EQ(config.operatingModeName(), "invalid operating mode");
  EXPECT_EQ(config.heatingModeName(), "invalid heating mode") << config.heatMode;
  EXPECT_EQ(config.minUpdateTemp, -20) << "cut to 8 bits";
  config.opMode = 3;
  config.heatMode = 0;
  EXPECT_EQ(config.operatingModeName(), "dynamic");
  EXPECT_EQ(config.heatingModeName(), "tempering");
}

TEST(Config, ANewNameChangesTheChecksum) {
  tConfig config(nk_message::VERSION_2);
  auto const before = config.checksum(nk_message::VERSION_3);
  EXPECT_EQ(config.version(), nk_message::VERSION_2);
  EXPECT_TRUE(config.device_setName("other") && !config.device_setName("other"));
  EXPECT_NE(config.checksum(nk_message::VERSION_3), before);
}

TEST(Config, IsCopiedWhole) {
  tConfig from(nk_message::VERSION_3), to(nk_message::VERSION_1);
  for (auto* const config : {&from, &to}) fill(*config);
  to.frm_change_ts("gone", 0, 0, 0, 0, 77, 0, 0);
  to.setConfigFrom(nullptr);
  to.setConfigFrom(&from);
  to.setConfigFrom(&to);
  EXPECT_EQ(to.getJson(), from.getJson());
  EXPECT_EQ(to.version(), nk_message::VERSION_1);
  tTimeslots slots;
  EXPECT_TRUE(from.timeslots_get(&slots) && slots.count() == 2);
  slots.clear();
  EXPECT_TRUE(from.timeslots_set(&slots) && from.timeSlot_count_ts() == 0);
  EXPECT_FALSE(from.timeslots_set(nullptr) || from.timeslots_get(nullptr));
}

TEST(Config, RepeatedAndReservedFrameIdsFromPeers) {
  nk_serializer old = bodyOf(*fresh<tConfig>(nk_message::VERSION_2));
  tConfig versionTwo(nk_message::VERSION_2);
  versionTwo.frm_change_ts("kept", 0, 0, 0, 0, 40, 0, 0);
  EXPECT_TRUE(versionTwo.serialize(&old, nk_serializer::SER_READ));
  EXPECT_EQ(versionTwo.frm_count(), 1u);

  tConfig config(nk_message::VERSION_3);
  config.frm_change_ts("gone", 0, 0, 0, 0, 40, 0, 0);
  ASSERT_TRUE(readJson(config,
                       R"({"action":"config","type":"request","tv":1,"frames":[{"id":12,)"
                       R"("name":"first"},{"id":12,"name":"second"},{"id":3},{"id":65546}]})"));
  EXPECT_EQ(config.frm_getListOfFrameIds(), (std::vector<int>{12, 10}));
  EXPECT_EQ(config.frm_get(0).name(), "second");
  EXPECT_EQ(config.frm_get(1).width(), 0) << "a member that is missing counts as 0";
}

TEST(Frames, GetFreeIds) {
  tConfig config(nk_message::VERSION_3);
  EXPECT_EQ(config.getNewFrameId(3), 10);
  EXPECT_EQ(config.getNewFrameId(500), 500);
  auto const add = [&config](unsigned short id) { config.frm_change_ts("", 0, 0, 0, 0, id, 0, 0); };
  for (auto const id : std::initializer_list<unsigned short>{0, 9, 42}) add(id);
  config.frm_change_ts("changed", 1, 2, 3, 4, 42, 5, 6);
  EXPECT_EQ(config.frm_getListOfFrameIds(), (std::vector<int>{10, 11, 42}));
  tFrame frame;
  EXPECT_TRUE(config.frm_getById(42, &frame));
  EXPECT_TRUE(frame.name() == "changed" && frame.realtimeTimeout() == 6);
  EXPECT_FALSE(config.frm_getById(42, nullptr) || config.frm_getById(7, &frame) ||
               config.frm_remove(99) || config.frame_get_ts(3, &frame) || config.frame_get(3));
  EXPECT_TRUE(config.frm_get(7).realtimeTimeout() == 120 && config.frm_get(7).width() == 64);
  EXPECT_TRUE(config.frm_remove(11));
  add(5);
  EXPECT_EQ(config.frm_getListOfFrameIds(), (std::vector<int>{10, 42, 11}));
}

TEST(Frames, OfAllIdsLeaveNoneFree) {
  tConfig config(nk_message::VERSION_3);
  for (int i = 0; i < 65600; ++i) config.frm_change_ts("", 0, 0, 0, 0, 0, 0, 0);
  EXPECT_EQ(config.frm_count(), 65526);
  EXPECT_EQ(config.getNewFrameId(10), 0);
  EXPECT_EQ(config.getNewFrameId(65535), 0);
  EXPECT_TRUE(config.frm_remove(30000));
  EXPECT_EQ(config.getNewFrameId(10), 30000);
  EXPECT_EQ(config.getNewFrameId(30001), 0) << "past 65535 the search goes on at 0";
}

// Frames 10, 11 and 12, of which two are given other ids behind the list's back.
TEST(Frames, GoByTheIdsThatTheyHaveNow) {
  struct {
    unsigned short id0, id2;
    std::vector<int> afterRemoving11, afterAdding0;  // the ids of the list
    char const* nameOf11;
    unsigned short newId;
  } const rows[] = {
      {10, 12, {10, 12}, {10, 12, 11}, "1", 13}, {11, 12, {11, 12}, {11, 12, 10}, "0", 10},
      {10, 11, {10, 11}, {10, 11, 12}, "1", 12}, {11, 11, {11, 11}, {11, 11, 10}, "0", 10},
      {12, 10, {12, 10}, {12, 10, 11}, "1", 13}, {3, 65535, {3, 65535}, {3, 65535, 10}, "1", 10},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(std::to_string(row.id0) + ", 11, " + std::to_string(row.id2));
    tConfig config(nk_message::VERSION_3);
    for (auto const* name : {"0", "1", "2"}) config.frm_change_ts(name, 0, 0, 0, 0, 0, 0, 0);
    tFrame* const borrowed = config.frame_get(0);
    config.frame_get(2)->set(tFrame("2", 0, 0, 0, 0, row.id2, 0, 0));
    *borrowed = tFrame("0", 0, 0, 0, 0, row.id0, 0, 0);
    EXPECT_EQ(config.getNewFrameId(10), row.newId);
    tFrame found;
    EXPECT_TRUE(config.frm_getById(11, &found));
    EXPECT_EQ(found.name(), row.nameOf11);
    config.frm_change_ts("changed", 0, 0, 0, 0, 11, 0, 0);
    EXPECT_EQ(config.frm_count(), 3) << "an id that is there is not added";
    EXPECT_EQ(config.frm_getById(10, &found), row.id0 == 10 || row.id2 == 10);
    EXPECT_TRUE(config.frm_remove(11));
    EXPECT_EQ(config.frm_getListOfFrameIds(), row.afterRemoving11);
    config.frm_change_ts("new", 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(config.frm_getListOfFrameIds(), row.afterAdding0);
  }
}

// Every element that is stored has equal numbers, so a torn one would show.
void churn(tConfig& config, std::atomic<bool> const& stop, unsigned int w) {
  tTimeslots own;
  own.add("own", w, w, w);
  for (unsigned short n = 10; !stop; n = static_cast<unsigned short>(10 + n % 50)) {
    config.timeSlot_add_ts("slot", n, n, static_cast<unsigned int>(n));
    config.timeSlot_set_ts(0, tTimeSlot("set", w, w, w));
    config.frm_change_ts("frame", n, n, n, n, n, n, n);
    while (config.timeSlot_count_ts() > 20) config.timeSlot_remove_ts(1);
    if (n % 11 == 0) config.frm_remove(n);
    if (n % 13 == 0) config.timeslots_set(&own);
    if (n % 17 == 0) config.frm_change_ts("new", 1, 1, 1, 1, 0, 1, 1);
  }
}

TEST(Config, IsSharedBetweenThreads) {
  tConfig config(nk_message::VERSION_3);
  std::atomic<bool> stop{false};
  std::vector<std::thread> writers;
  for (unsigned int w = 1; w <= 3; ++w) writers.emplace_back([&, w] { churn(config, stop, w); });
  tTime now(0);
  unsigned int written = 0;  // a slot that goes while its turn comes ends the writing
  for (int round = 0; round < 300; ++round) {
    ASSERT_FALSE(config.getJson().empty());
    config.timeSlot_durationToNextTimeSlotFromTime_sec_ts(now);
    config.frm_getListOfFrameIds();
    nk_serializer body;
    written += config.serialize(&body, nk_serializer::SER_WRITE);
    tConfig read(&body, nk_message::VERSION_3);
    tTimeSlot slot;
    for (unsigned int i = 0; read.timeSlot_get_ts(i, &slot); ++i) {
      ASSERT_TRUE(slot.startTime() == slot.stopTime() && slot.stopTime() == slot.activity());
    }
    tFrame frame;
    for (unsigned int i = 0; read.frame_get_ts(i, &frame); ++i) {
      ASSERT_TRUE(frame.left() == frame.top() && frame.top() == frame.realtimeTimeout());
    }
  }
  stop = true;
  for (auto& writer : writers) writer.join();
  EXPECT_GT(written, 0u);
}

}  // namespace
