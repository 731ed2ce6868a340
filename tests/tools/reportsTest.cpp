#include <gtest/gtest.h>

#include "harness/images.h"
#include "harness/programs.h"
#include "nkProtocol/controlMessages.h"
#include "nkProtocol/displayConfigMessages.h"
#include "nkProtocol/eventMessages.h"

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
  void refuseImage(unsigned long long uid) {
    expect(
        "raw --no-response " + write(dir / "content", imageContent({{uid, "x.png", "x", "wrong"}})),
        0);
  }
  // The events in the order `sort`: "type*times type*times ..."
  std::string events(std::string const& sort) {
    tJson const told = answer("events" + sort);
    tJson one;
    std::string all;
    for (unsigned int i = 0; told.getArrayObject("events", i, one); ++i) {
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
};

TEST_F(reports, eventsAreMergedSortedAndKept) {
  start();
  refuseImage(5);
  expect("set-name hall", 0);
  refuseImage(5);
  refuseImage(6);
  expect("time", 0);
  restart(SIGTERM);
  expect("state --json", 0, R"("evc":4)");
  // Started twice, refused 5 twice, named, refused 6; ids in the order of first occurrence.
  for (char const* const sort : {"", " --sort id-asc"})
    EXPECT_EQ(events(sort), "1*2 9*2 5*1 9*1 ") << sort;
  EXPECT_EQ(events(" --sort id-desc"), "9*1 5*1 9*2 1*2 ");
}

TEST_F(reports, eventsAreFollowed) {
  start();
  harness::tProgram follower(io, words(NK_CTL " " + toDevice("events --follow --interval 0.01")));
  auto const shows = [&](char const* text) {
    return harness::runUntil(io,
                             [&] { return follower.output.find(text) != follower.output.npos; });
  };
  EXPECT_TRUE(shows("  started\n"));
  expect("set-name hall", 0);
  EXPECT_TRUE(shows("  1      2         5     new name set\n")) << follower.output;
  expect("set-name lobby", 0);
  EXPECT_TRUE(shows("  2      2         5     new name set\n")) << follower.output;
  device->signal(SIGKILL);
  EXPECT_EQ(follower.finish(), 5) << follower.errors;
  EXPECT_EQ(follower.output.find("started"), follower.output.rfind("started"));
}

TEST_F(reports, coloursAndBarsAreForTerminals) {
  start();
  refuseImage(5);
  std::string const blackOnYellow = "\x1b[30;48;2;255;255;102m2 ";
  EXPECT_NE(onTerminal("events").find(blackOnYellow), std::string::npos);
  EXPECT_EQ(onTerminal("events --json").find('\x1b'), std::string::npos);
  expect("events", 0);
  EXPECT_EQ(output.find('\x1b'), output.npos);
  for (char const* const environment : {"NO_COLOR=1 TERM=xterm ", "-u NO_COLOR TERM=dumb "})
    EXPECT_EQ(onTerminal("events", environment).find('\x1b'), std::string::npos) << environment;
  auto const bar = onTerminal("images send --progress " + write(dir / "a.png", "abc"));
  EXPECT_NE(bar.find("\ra.png  [########################] 100 %"), bar.npos) << bar;
}

TEST_F(reports, statisticsAreShown) {
  start("--power 1000000 --thermometer " + write(dir / "temp", "21500\n"));
  expect("statistics", 0, "highest case temperature  22 at 20");
  EXPECT_NE(output.find("image updates             0\n"), output.npos) << output;
  EXPECT_GT(answer("statistics").getInt("energy_Wh", 0), 0);
}

TEST_F(reports, displaysComeFromAFile) {
  start();
  expect("display", 0, "main   0  1920 x 1080  at 0,0  current");
  restart(SIGTERM, "--displays " + write(dir / "layout.json", layout));
  expect("display --json", 0);
  EXPECT_NE(output.find(std::string(R"("answer":)") + layout + "}\n"), output.npos) << output;
  nk_messageGetDisplayConfigurationReq request(nk_message::VERSION_0);
  expect("raw " + write(dir / "content", contentOf(request)), 0, R"("h":1080,"l":0,"t":0})");
  for (std::string const content : {"", R"({"action":"displayConfig","type":"request","tv":1})"})
    expectRun(NK_DEVICE " --link tcp://127.0.0.1:0 --address 2 --displays " +
                  write(dir / "layout.json", content),
              2, "layout.json: ");
}

TEST_F(reports, oneDirectoryHasOnePanel) {
  expectRun(NK_DEVICE " --link tcp://127.0.0.1:0 --address 2 --state /dev/null/x", 1);
  start();
  expectRun(NK_DEVICE " --link tcp://127.0.0.1:0 --address 2 --state " + state, 1,
            "another panel keeps its state in");
  restart(SIGKILL);  // the lock went with it
  expect("time", 0);
}

}  // namespace
