#include <gtest/gtest.h>

#include "harness/images.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"
#include "nkSupport/tJson.h"

namespace {

using harness::contentOf;
using harness::imageContent;
using harness::words;
using harness::write;

constexpr char layout[] = R"({"action":"displayConfig","type":"response","tv":1,"name":"wall",)"
                          R"("rot":-90,"dispConfigs":[{"name":"c","id":32770,"logDisps":[{"name":)"
                          R"("left","id":1,"w":960,"h":1080,"l":5,"t":6}]}]})";

class reports : public harness::programs {
 protected:
  void start(std::string const& options = "") {
    device = startDevice("tcp://127.0.0.1:0", "--state " + (dir / "state ") + options);
  }
  // Ends the device by `number`, starts it again.
  void restart(int number, std::string const& options = "") {
    device->signal(number);
    device->finish();
    start(options);
  }
  void refuseImage(unsigned long long uid) {
    EXPECT_EQ(ask("raw --no-response " +
                  write(dir / "content", imageContent({{uid, "x.png", "x", "wrong"}}))),
              0);
  }
  // The events in the order `sort`: "type*times type*times ..."
  std::string events(std::string const& sort) {
    EXPECT_EQ(ask("events --json" + sort), 0) << errors;
    tJson answer, one;
    EXPECT_TRUE(answer.parse(output)) << output;
    std::string all;
    for (unsigned int i = 0; answer.getArrayObject("events", i, one); ++i) {
      all +=
          std::to_string(one.getInt("type", 0)) + "*" + std::to_string(one.getInt("occ", 0)) + " ";
    }
    return all;
  }
  // Runs a command with a terminal for its output and such an environment.
  std::string onTerminal(std::string const& command,
                         std::string const& environment = "-u NO_COLOR TERM=xterm ") {
    harness::tTerminal terminal;
    harness::tProgram program(
        io,
        words("/usr/bin/env " + environment + NK_CTL " --link " + station + " --to 2 " + command),
        "/dev/null", &terminal);
    EXPECT_EQ(program.finish(), 0) << program.output;
    return program.output;
  }

  std::unique_ptr<harness::tProgram> device;
};

TEST_F(reports, eventsAreMergedSortedAndKept) {
  start();
  refuseImage(5);
  EXPECT_EQ(ask("set-name hall"), 0) << errors;
  refuseImage(5);
  refuseImage(6);
  restart(SIGKILL);
  EXPECT_EQ(ask("state --json"), 0);
  EXPECT_NE(output.find(R"("evc":4)"), output.npos) << output;
  // Started twice, refused 5 twice, named, refused 6; ids in the order of first occurrence.
  struct {
    char const *sort, *events;
  } const rows[] = {
      {"", "1*2 9*2 5*1 9*1 "},
      {" --sort id-asc", "1*2 9*2 5*1 9*1 "},
      {" --sort id-desc", "9*1 5*1 9*2 1*2 "},
  };
  for (auto const& row : rows) EXPECT_EQ(events(row.sort), row.events) << row.sort;
  for (std::string const key : {"time-first", "time-last"}) {
    for (char const* const direction : {"-asc", "-desc"}) {
      auto const sort = key + direction;
      EXPECT_EQ(ask("events --json --sort " + sort), 0) << errors;
      tJson answer, one;
      ASSERT_TRUE(answer.parse(output)) << output;
      std::vector<long long> times;
      for (unsigned int i = 0; answer.getArrayObject("events", i, one); ++i)
        times.push_back(one.getInt(key == "time-first" ? "timeFirst" : "timeLast", 0) *
                        (sort.ends_with("-asc") ? 1 : -1));
      EXPECT_EQ(times.size(), 4u);
      EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << output;
    }
  }
  EXPECT_EQ(ask("events --sort newest"), 2);
}

TEST_F(reports, eventsAreAnsweredWhateverAsksAndHoweverDamaged) {
  start();
  // The task of the request comes back, damaged requests get the events, too.
  nk_messageEventsReq request(nk_message::VERSION_0);
  request.setTask(77);
  auto const content = contentOf(request);
  EXPECT_EQ(ask("raw " + write(dir / "content", content)), 0) << errors;
  EXPECT_NE(output.find(R"("task":77,"events":[{)"), output.npos) << output;
  EXPECT_EQ(ask("raw " + write(dir / "content", content.substr(0, 4))), 0) << errors;
  EXPECT_NE(output.find(R"("task":0,"events":[{)"), output.npos) << output;
  EXPECT_EQ(ask("shutdown"), 0);
  EXPECT_EQ(device->finish(), 0);
  write(dir / "state/events.bin", "damaged");
  start();
  EXPECT_EQ(events(""), "10*1 1*1 ");
}

TEST_F(reports, eventsAreFollowed) {
  start();
  harness::tProgram follower(
      io, words(NK_CTL " --link " + station + " --to 2 events --follow --interval 0.01"));
  auto const shows = [&](char const* text) {
    return harness::runUntil(io,
                             [&] { return follower.output.find(text) != follower.output.npos; });
  };
  EXPECT_TRUE(shows("  started\n"));
  EXPECT_EQ(ask("set-name hall"), 0) << errors;
  EXPECT_TRUE(shows("  1      2         5     new name set\n")) << follower.output;
  EXPECT_EQ(ask("set-name lobby"), 0) << errors;
  EXPECT_TRUE(shows("  2      2         5     new name set\n")) << follower.output;
  device->signal(SIGKILL);
  EXPECT_EQ(follower.finish(), 5) << follower.errors;
  EXPECT_EQ(follower.output.find("started"), follower.output.rfind("started"));
}

TEST_F(reports, coloursAndBarsAreForTerminals) {
  start();
  refuseImage(5);
  std::string const yellow = "\x1b[38;2;255;255;102m2 ";
  EXPECT_NE(onTerminal("events").find(yellow), std::string::npos);
  EXPECT_EQ(onTerminal("events --json").find('\x1b'), std::string::npos);
  EXPECT_EQ(ask("events"), 0);
  EXPECT_EQ(output.find('\x1b'), output.npos);
  for (char const* const environment : {"NO_COLOR=1 TERM=xterm ", "-u NO_COLOR TERM=dumb "})
    EXPECT_EQ(onTerminal("events", environment).find('\x1b'), std::string::npos) << environment;
  auto const bar = onTerminal("images send --progress " + write(dir / "a.png", "abc"));
  EXPECT_NE(bar.find("\ra.png  [########################] 100 %"), bar.npos) << bar;
}

TEST_F(reports, statisticsAreCountedAndKept) {
  auto const thermometer = write(dir / "temp", "21500\n");
  auto const options = "--power 1000000 --thermometer " + thermometer;
  start(options);
  auto const totals = [&](char const* min, char const* max, char const* count) {
    EXPECT_EQ(ask("statistics --json"), 0) << errors;
    tJson answer;
    EXPECT_TRUE(answer.parse(output)) << output;
    EXPECT_EQ(std::to_string(answer.getInt("tempCaseMin", 0)), min);
    EXPECT_EQ(std::to_string(answer.getInt("tempCaseMax", 0)), max);
    EXPECT_EQ(std::to_string(answer.getInt("imgUpdateCount", 0)), count);
    return answer.getInt("energy_Wh", 0) * 1000 + answer.getInt("energy_mWh", 0);
  };
  auto const first = totals("22", "22", "0");
  EXPECT_GT(first, 0);
  EXPECT_EQ(ask("images send " + write(dir / "a.png", "abc")), 0);
  refuseImage(5);
  write(thermometer, "-5000");
  auto const second = totals("-5", "22", "1");
  EXPECT_GT(second, first);
  restart(SIGTERM, options);
  write(thermometer, "no number");
  EXPECT_GT(totals("-5", "22", "1"), second);
  EXPECT_EQ(ask("statistics"), 0) << errors;
  EXPECT_NE(output.find("highest case temperature  22 at 20"), output.npos) << output;
  std::filesystem::remove(dir / "state/statistics.bin");
  restart(SIGKILL);
  EXPECT_EQ(ask("statistics"), 0) << errors;
  EXPECT_NE(output.find("image updates             0\n"), output.npos) << output;
}

TEST_F(reports, displaysComeFromAFile) {
  start();
  EXPECT_EQ(ask("display"), 0) << errors;
  EXPECT_NE(output.find("main   0  1920 x 1080  at 0,0  current"), output.npos) << output;
  restart(SIGTERM, "--displays " + write(dir / "layout.json", layout));
  EXPECT_EQ(ask("display --json"), 0) << errors;
  EXPECT_EQ(output, std::string(layout) + "\n");
  nk_messageGetDisplayConfigurationReq request(nk_message::VERSION_0);
  EXPECT_EQ(ask("raw " + write(dir / "content", contentOf(request))), 0) << errors;
  EXPECT_NE(output.find(R"("h":1080,"l":0,"t":0})"), output.npos) << output;
  for (std::string const content : {"", "{",
                                    R"({"action":"displayConfig","type":"request","tv":1,)"
                                    R"("dispConfigs":[]})"}) {
    harness::tProgram wrong(io,
                            words(NK_DEVICE " --link tcp://127.0.0.1:0 --address 2 --displays " +
                                  write(dir / "layout.json", content)));
    EXPECT_EQ(wrong.finish(), 2) << content;
    EXPECT_NE(wrong.errors.find("layout.json: "), std::string::npos) << wrong.errors;
  }
}

TEST_F(reports, oneDirectoryHasOnePanel) {
  start();
  harness::tProgram second(
      io, words(NK_DEVICE " --link tcp://127.0.0.1:0 --address 2 --state " + (dir / "state")));
  EXPECT_EQ(second.finish(), 1);
  EXPECT_NE(second.errors.find("another panel keeps its state in"), std::string::npos);
  restart(SIGKILL);  // the lock went with it
  EXPECT_EQ(ask("time"), 0) << errors;
}

}  // namespace
