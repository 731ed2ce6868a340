// What a panel takes, keeps and drops, without links.

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <vector>

#include "harness/clock.h"
#include "nkProtocol/eventMessages.h"
#include "nkProtocol/statisticsMessages.h"
#include "panel/panel.h"

namespace {

namespace fs = std::filesystem;
using harness::config;
using harness::contentOf;
using harness::imageContent;
using harness::optionsFor;
using harness::schedules;
using harness::state;
using harness::tTestPanel;

std::string cut(std::string const& content) { return content.substr(0, content.size() - 1); }

struct panelTest : testing::Test {
  struct tRow {
    std::string content, problem;
  };
  // Without a problem the panel holds something else then, otherwise the same.
  void expectRows(std::vector<tRow> const& rows) {
    for (auto const& row : rows) {
      auto const held = panel->held(), before = panel->events();
      bool const silent =
          row.content[0] == nk_message::IMAGE || row.content[0] == nk_message::GENERIC_REQ;
      EXPECT_EQ(panel->ask(row.content).empty(), silent) << row.problem;
      auto const now = panel->events();
      EXPECT_EQ(panel->held() != held, row.problem.empty()) << row.problem;
      EXPECT_TRUE(row.problem.empty() || now != before) << row.problem;
      EXPECT_NE(now.find(row.problem), now.npos) << row.problem << "\n" << now;
    }
  }
  unsigned int images() {
    return static_cast<unsigned int>(
        std::distance(fs::directory_iterator(options.state + "/images"), {}));
  }
  // Gives the directory to a fresh panel, which must hold the same.
  void restart() {
    auto const held = panel->held();
    start();
    EXPECT_EQ(panel->held(), held);
  }
  void start() {
    panel.reset();
    panel.emplace(options);
  }

  harness::tTempDir dir;
  tPanel::tOptions options = optionsFor(dir / "state");
  std::optional<tTestPanel> panel;
};

TEST_F(panelTest, refusesWhatPassesItsLimits) {
  options.limits = {.text = 9, .timeSlots = 3, .frames = 2, .schedules = 4, .entries = 5};
  options.limits.imageContent = 1000;
  options.limits.genericContent = 100;
  std::string const longest(9, 'n'), tooLong(10, 'n'), damaged = "it is damaged";
  std::string const generic{nk_message::GENERIC_REQ, 0, 0, 0}, bytes(1001, '\0');
  start();
  expectRows({
      {config(3, 2, longest, longest), ""},
      {config(4, 2, ""), "configuration refused: more than 3 time slots (--time-slots)"},
      {config(3, 3, ""), "configuration refused: more than 2 frames (--frames)"},
      {config(0, 0, tooLong), "configuration refused: more than 9 bytes in a name (--name-bytes)"},
      {config(1, 0, "", tooLong), "configuration refused: more than 9 bytes in a name"},
      {config(0, 1, "", tooLong), "configuration refused: more than 9 bytes in a name"},
      {cut(config(3, 2, "")), damaged},
      {config(3, 2, "") + bytes, "SET_CONFIG_REQ refused: more than 202 bytes"},
      {schedules(4, 5, longest), ""},
      {schedules(5, 0), "schedules refused: more than 4 schedules (--schedules)"},
      {schedules(1, 6), "schedules refused: more than 5 schedule entries (--entries)"},
      {schedules(1, 0, tooLong), "schedules refused: more than 9 bytes in a name"},
      {cut(schedules(4, 5)), damaged},
      {schedules(0, 0) + bytes, "SET_SCHEDULES_REQ refused: more than 417 bytes"},
      {state(1, std::string(9, 'm')), ""},
      {state(1, tooLong), "new name refused: more than 9 bytes"},
      {cut(state(1, "name")), "task of STATE_REQ refused: it is damaged"},
      {state(1, "name") + "x", "task of STATE_REQ refused: it is damaged"},
      {state(2, "name"), "task of STATE_REQ refused: 2 is no task"},
      {state(1, "") + bytes, "STATE_REQ refused: more than 73 bytes"},
      {imageContent({{1, "a.png", bytes}}), "IMAGE refused: more than 1000 bytes"},
      {imageContent({{1, "a.png", ""}}).replace(6, 1, "\x28"), "images refused: more than 10000"},
      {generic + bytes, "GENERIC_REQ refused: more than 100 bytes"},
  });
  restart();
  // Merged, they would be more than the limit: the new ones replace the old ones.
  panel->ask(schedules(4, 5, "", 10));
  tTestPanel other(optionsFor(dir / "other"));
  other.ask(schedules(4, 5, "", 10));
  EXPECT_EQ(panel->panel.settings().schedulesChecksum(nk_message::VERSION_3),
            other.panel.settings().schedulesChecksum(nk_message::VERSION_3));
  options.limits.timeSlots = 2;
  start();
  EXPECT_NE(panel->events().find("beyond the limits; it is now"), std::string::npos);
}

TEST_F(panelTest, refusesImagesThatAreNotRight) {
  auto const good = imageContent({{7, "a.png", "old"}});
  start();
  expectRows({
      {good, ""},
      {imageContent({{7, "a.png", "new", std::string(40, '0')}}),
       "image 7 refused: its checksum is not that"},
      {imageContent({{7, "a.png", "new", "../../../../x"}}), "image 7 refused: its checksum"},
      {imageContent({{8, "../../escaped.png", "x"}}), "image 8 refused: its name has a path sep"},
      {imageContent({{12, "", "x"}}), "image 12 refused: it has no name"},
      {imageContent({{13, "a.png", ""}}), "image 13 refused: it is empty"},
      {imageContent({{14, "a.png", "x", "", 5}}), "image 14 refused: its mime type"},
      {cut(good), "images refused: the message is damaged"},
      {good + "x", "images refused: the message is damaged"},
      {imageContent({{7, "", ""}}, 2), "images refused: taskRemove 2"},
  });
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / ""), {}), 1) << "nothing outside";
  fs::remove_all(options.state + "/images");
  harness::write(options.state + "/images", "in the way");
  expectRows({{imageContent({{9, "c.png", "x"}}), "image 9 refused: it cannot be stored"}});
}

TEST_F(panelTest, hasSoMuchRoomForImages) {
  options.imageRoom = 1 << 20;
  start();
  auto const sized = [](unsigned int uid, unsigned int size) {
    return imageContent({{uid, "a.png", std::string(size, 'x')}});
  };
  std::string const problem = "image 2 refused: the panel has no room for it";
  expectRows({{sized(1, 600000), ""}, {sized(2, 600000), problem}});
  restart();
  expectRows({{sized(2, 600000), problem}, {sized(1, 1000000), ""}, {sized(2, 48576), ""}});
}

TEST_F(panelTest, dropsAndSetsAsideWhatIsDamaged) {
  auto const logs = options.state + "/";
  start();
  panel->ask(imageContent({{7, "a.png", "seven"}, {8, "b.png", "eight"}}));
  harness::write(logs + "images/image_id9_x.png~", "what a crash left behind");
  for (auto const& each : fs::directory_iterator(logs + "images")) {
    if (each.path().string().find("image_id7") != std::string::npos)
      harness::write(each.path(), "Seven");
  }
  start();
  EXPECT_NE(panel->events().find("image 7 is damaged or missing"), std::string::npos);
  EXPECT_EQ(panel->panel.images().uids(), std::vector<unsigned long long>{8});
  EXPECT_EQ(images(), 1u);
  for (std::string const log : {"images.log", "schedules.log", "config.log", "events.log"}) {
    for (char const* const content : {"", "{}\n", "0 2 plain\n{}\n"}) {
      fs::remove(logs + "events.log");
      harness::write(logs + log, content);
      start();
      EXPECT_NE(panel->events().find(log + " is damaged or beyond the limits; it is now "),
                std::string::npos)
          << content;
      EXPECT_TRUE(fs::exists(logs + log + ".bad"));
    }
  }
  EXPECT_TRUE(panel->panel.images().uids().empty());
  fs::remove(logs + "config.log");
  fs::create_directories(logs + "config.log");
  start();
  EXPECT_NE(panel->events().find("config.log cannot be read ("), std::string::npos);
}

TEST_F(panelTest, answersInTheVersionOfTheRequest) {
  start();
  nk_messageSetConfigReq with(nk_message::VERSION_3), older(nk_message::VERSION_1),
      both(nk_message::VERSION_3);  // the older one has no frames
  older.updateTime = 99;
  both.setConfigFrom(&older);
  for (auto* const one : {&with, &both}) one->frm_change_ts("f", 1, 0, 2, 3, 10, 4, 0);
  nk_messageSetSchedulesReq set3(nk_message::VERSION_3), set1(nk_message::VERSION_1);
  for (auto* const one : {&set3, &set1})
    one->addSchedule_(1, "s", 2, -5, 7, 3)->addScheduleEntry(4, "e", 5, 6, false);
  auto const s1 = contentOf(set1);
  struct {
    std::string content;
    tString answer;
  } const rows[] = {
      {contentOf(with), with.checksum(nk_message::VERSION_3)},
      {contentOf(older), both.checksum(nk_message::VERSION_1)},
      {contentOf(set3), set3.checksum(nk_message::VERSION_3)},
      {s1.substr(0, 4), set1.checksum(nk_message::VERSION_1)},  // damaged: what is in force
      {s1, set1.checksum(nk_message::VERSION_1)},
  };
  for (auto const& row : rows)
    EXPECT_NE(panel->ask(row.content).find(row.answer.view()), std::string::npos);
}

TEST_F(panelTest, keepsChangesWithoutWritingTheWhole) {
  constexpr unsigned int rounds = 300;
  start();
  panel->ask(config(1000, 1000, ""));
  auto const file = options.state + "/config.log";
  auto const whole = fs::file_size(file);
  unsigned long long grown = 0, replaced = 0, before = whole;
  for (unsigned int i = 0; i < rounds; ++i) {
    panel->ask(state(1, std::to_string(i)));
    auto const size = fs::file_size(file);
    if (size < before) ++replaced;
    grown += size > before ? size - before : 0;
    before = size;
  }
  EXPECT_LT(grown, rounds * 100);
  EXPECT_LT(replaced, 2u);
  restart();
  // What is in force already, and long runs, take next to nothing.
  panel->ask(config(1000, 1000, std::to_string(rounds - 1)));
  EXPECT_EQ(fs::file_size(file), before);
  panel->ask(schedules(10000, 100000));
  EXPECT_LT(fs::file_size(options.state + "/schedules.log"), 200000u);
}

TEST_F(panelTest, dropsFaultsLast) {
  start();
  panel->panel.events().record(EVENT_STATE_TROUBLE, "fault");
  testing::internal::CaptureStderr();
  for (unsigned int i = 0; i < 2100; ++i) panel->ask(imageContent({{i, "/", "x"}}));
  auto const lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 120) << "60 orders, 60 warnings";
  panel->panel.keepChanges();
  panel->ask(imageContent({{1, "/", "x"}, {2, "/", "x"}}));
  panel->panel.keepChanges();
  start();
  auto const events = panel->events();
  EXPECT_EQ(events.find("10*1 fault\n"), 0u) << events.substr(0, 99);
  EXPECT_EQ(std::count(events.begin(), events.end(), '\n'), 2000);
  EXPECT_NE(events.find("9*1 2 images refused; image 1 refused: its name has a path"), events.npos);
  // Ids go on rising, by which stations know what is new.
  nk_messageEventsRsp all(nk_message::VERSION_3, nullptr, nullptr);
  panel->panel.events().addTo(all);
  EXPECT_EQ(all.getEvent(1999)->id(), 2104u);
  EXPECT_EQ(panel->panel.events().count(), 2000u);
}

TEST_F(panelTest, storesImagesOnce) {
  start();
  auto const files = [&] {
    std::set<std::string> names;
    for (auto const& each : fs::directory_iterator(options.state + "/images"))
      names.insert(each.path().filename().string().substr(0, 9));
    return names;
  };
  auto const log = [&] { return fs::file_size(options.state + "/images.log"); };
  panel->ask(imageContent(
      {{1, "a.png", "first"}, {1ULL << 63, "b.png", "two"}, {3, "/", "x"}, {1, "a.png", "last"}}));
  EXPECT_EQ(panel->panel.images().checksum(1), nk_tools::imageChecksum(harness::bytes("last")));
  EXPECT_EQ(panel->panel.statistics().totals(nk_message::VERSION_3).imgUpdateCount(), 2u);
  auto const size = log();
  panel->ask(imageContent({{1, "a.png", "last"}}));
  EXPECT_EQ(log(), size);
  panel->ask(imageContent({{1, "c.png", "last"}}));
  EXPECT_GT(log(), size);
  EXPECT_EQ(files(), (std::set<std::string>{"image_id1", "image_id9"}));
  panel->ask(imageContent({{1, "", ""}, {5, "../..", ""}}, 1));
  EXPECT_EQ(files(), (std::set<std::string>{"image_id9"}));
  restart();
}

TEST_F(panelTest, aDamagedChangeCostsNoOther) {
  start();
  for (unsigned int uid = 1; uid < 5; ++uid) panel->ask(imageContent({{uid, "a.png", "x"}}));
  auto const log = options.state + "/images.log";
  auto bytes = harness::contentOfFile(log);
  bytes[bytes.find("\"uid\":2,") + 1] ^= 1;
  panel.reset();
  harness::write(log, bytes);
  start();
  EXPECT_EQ(panel->panel.images().uids(), (std::vector<unsigned long long>{1, 3, 4}));
  EXPECT_EQ(images(), 4u) << "nobody knows what the change named";
  EXPECT_EQ(harness::contentOfFile(log + ".bad"), bytes);
  panel->panel.keepChanges();
  restart();
}

TEST_F(panelTest, takesOverWhatVersion01Kept) {
  auto const file = [this](char const* name) { return options.state + "/" + name; };
  auto const checksum = std::string(nk_tools::imageChecksum(harness::bytes("image")).c_str());
  fs::create_directories(file("images"));
  harness::write(file("config.bin"), config(2, 1, "hall"));
  harness::write(file("schedules.bin"), schedules(2, 3));
  harness::write(file("images.json"),
                 R"({"images":[{"uid":5,"name":"a.png","cs":")" + checksum + R"(","mime":0}]})");
  harness::write(file(("images/image_id5_" + checksum + ".png").c_str()), "image");
  start();
  EXPECT_EQ(panel->panel.settings().name(), "hall");
  EXPECT_EQ(panel->panel.images().checksum(5), checksum.c_str());
  restart();
  panel->panel.keepChanges();
  for (char const* former : {"config.bin", "schedules.bin", "images.json"})
    EXPECT_FALSE(fs::exists(file(former))) << former;
  restart();
}

TEST_F(panelTest, countsAndKeepsStatistics) {
  harness::tFakeClock clock;
  options.statistics.power = 1e10;
  double energy = 0;
  struct {
    char const* thermometer;
    int min, max;
    unsigned int minTime;
  } const rows[] = {
      {"20000", 20, 20, 0}, {"20000", 20, 20, 0}, {"-5000", -5, 20, 2}, {"no number", -5, 20, 2}};
  start();
  panel->ask(imageContent({{1, "a.png", "x"}}));
  for (auto const& row : rows) {
    harness::write(options.statistics.thermometer, row.thermometer);
    for (unsigned int again = 0; again < 2; ++again) {
      auto const totals = panel->panel.statistics().totals(nk_message::VERSION_3);
      EXPECT_EQ(totals.imgUpdateCount(), 1u);
      EXPECT_EQ(totals.tempCaseMin(), row.min);
      EXPECT_EQ(totals.tempCaseMax(), row.max);
      EXPECT_EQ(totals.tempCaseMinTime(), 1700000000u + row.minTime);
      EXPECT_EQ(totals.tempCaseMaxTime(), 1700000000u);
      EXPECT_GT(totals.energy_Wh(), energy);
      energy = totals.energy_Wh();
      panel->panel.keep();
      start();
    }
    clock.advance(1);
  }
}

TEST_F(panelTest, answersDamagedRequestsForEvents) {
  start();
  nk_messageEventsReq request(nk_message::VERSION_0);
  request.setTask(77);
  auto const content = contentOf(request);
  EXPECT_EQ(panel->ask(content)[4], 77);
  EXPECT_EQ(panel->ask(content.substr(0, 4))[4], 0);
}

}  // namespace
