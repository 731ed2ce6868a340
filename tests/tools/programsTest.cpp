#include <gtest/gtest.h>

#include "harness/link.h"
#include "harness/programs.h"
#include "link/dialer.h"
#include "link/listener.h"
#include "nkProtocol/controlMessages.h"
#include "nkSupport/base64.h"
#include "nkSupport/tJson.h"
#include "nkSupport/tTime.h"

namespace {

using harness::contentOf;
using harness::programs;
using harness::runUntil;
using harness::tProgram;
using harness::words;
using harness::write;

class programsOverLink : public programs, public testing::WithParamInterface<char const*> {};

TEST_P(programsOverLink, stationAsksAndPanelAnswers) {
  harness::tCable cable(io);
  std::string const kind = GetParam();
  startDevice(kind == "tcp"    ? "tcp://127.0.0.1:0"
              : kind == "unix" ? "unix://" + (dir / "socket")
                               : "serial://" + cable.left + "?baud=9600");
  if (kind == "serial") station = "serial://" + cable.right + "?baud=9600";

  auto const before = tTime::now();
  tJson const time = answer("time");
  EXPECT_EQ(time.getString("action"), tString("time"));
  EXPECT_GE(time.getInt("currentTime", 0), before);
  EXPECT_LE(time.getInt("currentTime", 0), tTime::now());

  auto const link = " --from 0x10 --link " + station;
  expectRun(NK_CTL " generic gr\xc3\xbc\xc3\x9f b --to broadcast" + link, 0,
            "text1  gr\xc3\xbc\xc3\x9f\ntext2  b\n");
  EXPECT_EQ(control({"generic", "a \"b\"", "", "--to", "2", "--link", station}), 0) << errors;
  EXPECT_EQ(output, "text1  a \"b\"\ntext2\n");

  nk_messageGenericReq large(nk_message::VERSION_1,
                             base64::encode(tBlob(harness::randomBytes(225000, 5).data(), 225000)),
                             "end");
  expect("raw " + write(dir / "large", contentOf(large)), 0);
  EXPECT_TRUE(output == R"({"action":"generic","type":"response","text1":")" +
                            std::string(large.text1.view()) + R"(","text2":"end"})" + "\n")
      << output.size();

  expect("raw --no-response " + (dir / "large"), 0);
  EXPECT_EQ(output, "");
  expect("shutdown", 0);
  EXPECT_EQ(device->finish(), 0);
  EXPECT_EQ(device->output, "");
}

INSTANTIATE_TEST_SUITE_P(links, programsOverLink, testing::Values("tcp", "unix", "serial"));

TEST_F(programs, tellTheOutcomeByTheirExitStatus) {
  startDevice("tcp://127.0.0.1:0");
  auto const link = "--link " + station, good = link + " --to 2 ";
  auto const unknown = write(dir / "unknown", std::string("\x10\0\0\0", 4));  // TAVO_AUTHORIZE_REQ
  auto const brief = write(dir / "brief", "abc");
  auto const empty = write(dir / "empty", "");
  // The words are on standard error, or on standard output if the status is 0.
  tRow const rows[] = {
      {"--help", 0, "Exit status"},
      {"time --help", 0, "clock"},
      {"--version", 0, "0."},
      {"", 2, "a command is required: state, "},
      {"time", 2, "--link is required"},
      {link + " time", 2, "--to is required"},
      {good + "dance", 2, "unknown command \"dance\"; there are state, "},
      {good + "stat", 2, "near ones: state, statistics;"},
      {good + "evnets", 2, "near ones: events;"},
      {good + "config ste", 2, "near ones: set;"},
      {good + "--time-out 1 time", 2, "near ones: --timeout;"},
      {good + "--to 3 time", 2, "--to is given more than once"},
      {good + "--timeout abc time", 2, "nkctl: --timeout: \"abc\" is no number"},
      {"time --to", 2, "--to lacks its value"},
      {good + "events --sort up", 2, "is none of {time-first-desc,"},
      {good + "events --interval 5", 2, "requires --follow"},
      {good + "--message-version 4 time", 2, "no version from 0 to 3"},
      {"help", 0, "Exit status"},
      {"-V", 0, "nkctl 0."},
      {good + "time shutdown", 2, "shutdown"},
      {good + "generic one", 2, "TEXT2"},
      {"--link http://x --to 2 time", 2, "begins with tcp://"},
      {link + " --to 0xFFFFFFFE time", 2, "no address"},
      {link + " --to 4294967296 time", 2, "no address"},
      {link + " --to -1 time", 2, "no address"},
      {link + " --to 0x time", 2, "no address"},
      {good + "--from broadcast time", 2, "no address"},
      {good + "--timeout 0 time", 2, "seconds"},
      {good + "--timeout nan time", 2, "seconds"},
      {good + "raw " + (dir / "missing"), 2, "missing: No such file or directory"},
      {good + "raw " + (dir / "."), 2, "Is a directory"},
      {good + "raw " + empty, 2, "is empty"},
      {"--link unix://" + (dir / "none") + " --connect-timeout 0.1 --to 2 time", 3, "No such file"},
      {"--link serial://" + brief + " --connect-timeout 0 --to 2 time", 3, "ioctl"},
      {link + " --to 3 --timeout 0.1 time", 4, "panel 3: no answer in 0.1 s (nothing came)"},
      {link + " --to 3 --timeout 0.1 shutdown", 4, "nobody confirmed"},
      {good + "--timeout 0.1 raw " + unknown, 4, "no answer"},
      {toDevice("raw --no-response " + brief), 0, ""},
      {toDevice("generic -- -x --help"), 0, "text1  -x\ntext2  --help\n"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(control(words(row.arguments)), row.status) << row.arguments << errors;
    EXPECT_NE((row.status == 0 ? output : errors).find(row.words), errors.npos)
        << row.arguments << errors;
    EXPECT_TRUE(row.status == 0 || output.empty()) << row.arguments << output;
  }
  nk_messageGenericReq fromInput(nk_message::VERSION_0, "in", "put");
  EXPECT_EQ(control(words(toDevice("raw -")), write(dir / "input", contentOf(fromInput))), 0);
  EXPECT_NE(output.find("\"text2\":\"put\""), output.npos) << output << errors;

  expectRun(NK_DEVICE " --address 2 --link " + station, 3);
  expectRun(NK_DEVICE " --address 0xFFFFFFFF --link " + station, 2);
}

// The peer sends junk all the time and reads late; the end of the program must not cost a byte.
TEST_F(programs, aRequestWithoutResponseArrivesWhole) {
  nk_listener listener(io);
  ASSERT_FALSE(listener.open(harness::urlOf("tcp://127.0.0.1:0")));
  std::unique_ptr<nk_carrier> peer;
  listener.start([&](int one) {
    peer = std::make_unique<nk_carrier>(io, one, nk_carrier::tLimits{});
    peer->start([] {});
  });
  auto const content = harness::randomBytes(2000000, 6);
  tProgram program(
      io, {NK_CTL, "--link", listener.url().text(), "--to", "2", "--timeout",
           harness::patienceText(), "raw", "--no-response", write(dir / "content", content)});
  std::vector<unsigned char> junk(1000, 'j');
  harness::tPair pair;
  EXPECT_TRUE(runUntil(io, [&] {
    if (!peer) return false;
    int error = 0;
    if (peer->outgoing() < 1000000) peer->send(junk.data(), 1000, error);
    unsigned char buffer[1000];
    while (auto const count = peer->receive(buffer, sizeof buffer))
      pair.toB.bytes.append(buffer, count);
    return peer->ended() || peer->error();
  }));
  peer.reset();
  EXPECT_EQ(program.finish(), 0) << program.errors;
  pair.b.poll();
  ASSERT_EQ(pair.b.requests.size(), 1u);
  EXPECT_TRUE(pair.b.requests[0].content == content);
}

// The same bytes through the same seed are damaged in the same way twice.
TEST_F(programs, chaosCarriesAndRepeatsItsDamage) {
  startDevice("unix://" + (dir / "panel"), "--verbose");
  auto const panel = station;
  auto const content = write(dir / "content", harness::randomBytes(20000, 7));
  auto const chaos = [&](std::string const& options) {
    auto proxy = std::make_unique<tProgram>(
        io, words(NK_CHAOS " --verbose --link unix://" + (dir / "chaos") + " --to " + options));
    station = proxy->waitFor("listening on ");
    station.resize(station.find(", seed"));
    return proxy;
  };
  auto const end = [](tProgram& proxy) {
    proxy.signal(SIGTERM);
    EXPECT_EQ(proxy.finish(), 0);
  };
  auto const noisy = chaos(panel + " --frame-insert 1");
  expect("--verbose generic one two", 0);
  EXPECT_NE(errors.find("bytes of noise"), std::string::npos) << errors;
  EXPECT_NE(device->waitFor("dropped ").find("bytes of noise"), std::string::npos);
  end(*noisy);
  std::string first;
  for (auto const* seed : {"5", "5", "6"}) {
    auto const proxy = chaos(panel + " --byte-flip 0.01 --byte-split 0.01 --seed " + seed);
    expect("raw --no-response " + content, 0);
    end(*proxy);
    auto const told = proxy->errors.substr(proxy->errors.find("to panel: byte"));
    EXPECT_GT(told.size(), 2000u);
    if (first.empty()) first = told;
    EXPECT_EQ(told == first, seed[0] == '5') << told;
  }
  expectRun(NK_CHAOS " --link unix:///x --to unix:///y --byte-flip 1 --byte-drop 1", 2,
            "more than 1");
  auto const lost = chaos("unix://" + (dir / "none"));
  expect("--timeout 0.1 time", 4);
}

TEST_F(programs, panelEndsOnSignalsAndLeavesNoSocketFile) {
  auto const url = "unix://" + (dir / "socket");
  startDevice(url);
  device.reset();  // killed, it leaves its file behind, for the next to replace
  for (int const number : {SIGTERM, SIGINT}) {
    startDevice(url);
    device->signal(number);
    EXPECT_EQ(device->finish(), 0);
    EXPECT_FALSE(std::filesystem::exists(dir / "socket"));
  }
  start();
  std::filesystem::remove_all(state);
  device->signal(SIGTERM);
  EXPECT_EQ(device->finish(), 1) << "what it should keep is lost";
}

TEST_F(programs, silentConnectionsGiveWayAndEnd) {
  std::vector<harness::tDescriptor> silent;
  for (std::string const limit : {"1000", "0.1"}) {
    startDevice("unix://" + (dir / "socket"), "--connections 1 --first-frame " + limit);
    nk_dialer dialer(io, harness::urlOf(station), {},
                     {[&](int one) { silent.emplace_back(one); }, {}, {}});
    dialer.dial();
    if (limit == "1000") {
      ASSERT_TRUE(runUntil(io, [&] { return !silent.empty(); }));
      expect("generic still here", 0);
      device->waitFor(": gave way to another connection");
    } else {
      device->waitFor("disconnected: uid " + std::to_string(::getuid()) + ", pid " +
                      std::to_string(::getpid()) + ": no whole frame");
    }
    device.reset();
  }
}

// What is refused stays as it was, and who asked is found on standard error, listed stations in the
// events too.
TEST_F(programs, panelObeysOnlyWhoMayOrderIt) {
  auto const empty = write(dir / "empty.json", R"({"schedules":[]})");
  start("--stations 7,0x10 --no-shutdown");
  expect("set-name other", 6);
  expect("--from 16 set-name hall", 0, "hall");
  expect("schedules set " + empty, 0, "");
  for (std::string const from : {"1", "7"}) expect("--timeout 0.2 shutdown --from " + from, 4);
  device->waitFor("new name from station 1 (127.0.0.1:");
  device->waitFor("shutdown from station 7 (127.0.0.1:");
  expect("events", 0, "new name set by station 16");
  for (auto const* refused : {"new name refused", "schedules refused", "shutdown refused"})
    EXPECT_EQ(harness::countOf(refused, output), 1u) << refused << output;
  EXPECT_EQ(harness::countOf("by station", output), 1u) << output;

  // By whom it cannot be told is obeyed nowhere.
  restart(SIGTERM);
  for (unsigned int const source :
       {nk_basicTelegram::addressNone, nk_basicTelegram::addressBroadcast}) {
    harness::tPipe in, out;
    harness::tEndpoint nobody(source, &in, &out);
    nk_messageShutdown shutdown(nk_message::VERSION_0);
    nobody.tell(contentOf(shutdown), nk_basicTelegram::addressBroadcast);
    nobody.poll();
    harness::tDescriptor link;
    nk_dialer dialer(io, harness::urlOf(station), {},
                     {[&](int one) { link = harness::tDescriptor(one); }, {}, {}});
    dialer.dial();
    ASSERT_TRUE(runUntil(io, [&] { return link.get() >= 0; }));
    harness::give(link, harness::text(out.bytes));
    device->waitFor("shutdown refused");
    device->errors.clear();
  }
  expect("shutdown", 0);
  EXPECT_EQ(device->finish(), 0);
}

TEST_F(programs, panelComesBackToALineThatVanished) {
  auto const line = dir / "line";
  device = std::make_unique<tProgram>(io, words(NK_DEVICE " --address 2 --link serial://" + line));
  device->waitFor("; trying again");
  for (unsigned int round = 0; round < 2; ++round) {
    auto cable = std::make_unique<harness::tCable>(io);
    std::filesystem::create_symlink(cable->left, line);
    device->waitFor("listening on ");
    station = "serial://" + cable->right;
    expect("generic back again", 0);
    std::filesystem::remove(line);
    device->errors.clear();
    cable.reset();
    device->waitFor("lost serial://");
  }
  device->signal(SIGTERM);
  EXPECT_EQ(device->finish(), 0);
}

}  // namespace
