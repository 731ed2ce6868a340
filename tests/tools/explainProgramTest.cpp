#include <gtest/gtest.h>

#include "harness/link.h"
#include "harness/programs.h"
#include "link/dialer.h"
#include "link/listener.h"
#include "nkProtocol/controlMessages.h"
#include "nkSupport/base64.h"

namespace {

using harness::contentOf;
using harness::programs;
using harness::tProgram;
using harness::words;
using harness::write;

// nkexplain between nkctl and nkdevice.
class explainProgram : public programs {
 protected:
  // Lets the programs talk over a link of this kind, and keeps the record and what was told live.
  void talk(std::string const& panelUrl, std::string const& url, unsigned int size) {
    startDevice(panelUrl);
    tProgram explain(io, words(NK_EXPLAIN " --json --listen " + url + " --record " + record +
                               " --link " + station));
    station = explain.waitFor("listening on ");
    station.resize(station.find(", for "));
    nk_messageGenericReq large(nk_message::VERSION_1,
                               base64::encode(tBlob(harness::randomBytes(size, 5).data(), size)),
                               "end");
    expect("generic hello panel", 0);
    expect("raw " + write(dir / "large", contentOf(large)), 0);
    if (station.starts_with("tcp")) {  // in many parts
      tProgram peer(io, words(NK_PEER " --connect " + station.substr(6) +
                              " --to 2 --part-size 20000 file " + (dir / "large")));
      EXPECT_EQ(peer.finish(), 0) << peer.errors;
    }
    expect("state", 0);
    expect("shutdown", 0);
    EXPECT_EQ(device->finish(), 0);
    explain.signal(SIGTERM);
    EXPECT_EQ(explain.finish(), 0) << explain.errors;
    live = explain.output;
  }
  // The lines of JSON, without the names of streams, by stream.
  static std::multimap<std::string, std::string> lines(std::string const& text) {
    std::multimap<std::string, std::string> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      tJson json;
      EXPECT_TRUE(json.parse(line)) << line;
      EXPECT_TRUE(json.getBool("good", false)) << line;
      std::string const name = json.getString("stream").c_str();
      if (auto const at = line.find(name); at != line.npos) line.erase(at, name.size());
      all.emplace(json.getString("kind").c_str(), line);
    }
    return all;
  }

  std::string const record = dir / "link.pcap";
  std::string live;
};

TEST_F(explainProgram, ExplainsALiveLinkAndItsRecordAlike) {
  std::string const tcp = "tcp://127.0.0.1:0", socket = "unix://" + (dir / "socket");
  struct {
    std::string panel, listen;
    unsigned int size, telegrams, frames;
  } const rows[] = {{tcp, socket, 1500000, 7, 9}, {socket, tcp, 60000, 9, 12}};
  for (auto const& row : rows) {
    talk(row.panel, row.listen, row.size);
    auto const told = lines(live);
    EXPECT_EQ(told.count("telegram"), row.telegrams);
    EXPECT_EQ(told.count("message"), row.telegrams);
    EXPECT_EQ(told.count("frame"), row.frames);
    EXPECT_NE(live.find(R"("message":{"action":"generic","type":"response","text1":"hello")"),
              live.npos);

    EXPECT_EQ(run({NK_EXPLAIN, "--json", record}), 0) << errors;
    EXPECT_TRUE(lines(output) == told);
  }
}

// What the dissector for Wireshark says of a record: one line for each packet that `filter` lets
// through, with the values of `field`, each behind a bar.
std::string dissect(asio::io_context& io, std::string const& record, std::string const& filter,
                    std::vector<std::string> const& fields) {
  static constexpr char script[] = "lua_script:" NK_DISSECTOR;
  std::vector<std::string> arguments{NK_TSHARK,      "-X",   script,       "-r",     record,
                                     "-Y",           filter, "-T",         "fields", "-E",
                                     "aggregator=|", "-E",   "separator=|"};
  for (auto const& field : fields) arguments.insert(arguments.end(), {"-e", field});
  tProgram tshark(io, arguments);
  EXPECT_EQ(tshark.finish(), 0) << tshark.errors;
  EXPECT_EQ(tshark.errors.find("Lua: Error"), std::string::npos) << tshark.errors;
  return tshark.output;
}

TEST_F(explainProgram, DissectorForWiresharkSaysTheSame) {
  talk("unix://" + (dir / "socket"), "tcp://127.0.0.1:0", 60000);
  std::string expected;
  std::istringstream stream(live);
  for (std::string line; std::getline(stream, line);) {
    tJson json, field;
    ASSERT_TRUE(json.parse(line)) << line;
    if (json.getString("kind") != tString("message")) continue;
    for (unsigned int i = 0; json.getArrayObject("fields", i, field); ++i) {
      if (i > 2) expected += '|';
      if (i > 1) expected.append(field.getString("name").c_str()) += ": ";
      auto const number = field.getInt("value", -1);
      expected += number >= 0 ? std::to_string(number) : field.getString("value").c_str();
      if (i < 2) expected += '|';
    }
    expected += '\n';
  }
  EXPECT_EQ(dissect(io, record, "nkprotocol.message.type",
                    {"nkprotocol.message.type", "nkprotocol.message.version",
                     "nkprotocol.message.field"}),
            expected);

  // Behind the file's header and three packets without bytes, a byte of the first frame's body.
  auto damaged = harness::contentOfFile(record);
  damaged[24 + 3 * 56 + 56 + 12] ^= 1;
  write(record, damaged);
  EXPECT_EQ(run({NK_EXPLAIN, record}), 0) << errors;
  auto const fault = output.find("! wrong CRC: ");
  ASSERT_NE(fault, output.npos) << output.substr(0, 1000);
  auto const end = output.find('\n', fault);
  EXPECT_EQ(dissect(io, record, "nkprotocol.damage", {"_ws.expert.message"}),
            "W" + output.substr(fault + 3, end - fault - 2));
}

TEST_F(explainProgram, APanelThatDoesNotReadHoldsUpItsOwnStationOnly) {
  auto const carrier = [&](std::unique_ptr<nk_carrier>& place) {
    return [&](int one) { place = std::make_unique<nk_carrier>(io, one, nk_carrier::tLimits{}); };
  };
  nk_listener panel(io);
  ASSERT_FALSE(panel.open(harness::urlOf("unix://" + (dir / "panel"))));
  std::unique_ptr<nk_carrier> panels[2], stations[2];
  panel.start([&](int one) { carrier(panels[panels[0] ? 1 : 0])(one); });
  tProgram explain(io, words(NK_EXPLAIN " --link unix://" + (dir / "panel --listen unix://") +
                             (dir / "station")));
  explain.waitFor("listening on ");
  for (auto const i : {0, 1}) {
    nk_dialer dialer(io, harness::urlOf("unix://" + (dir / "station")), {},
                     {carrier(stations[i]), {}, {}});
    dialer.dial();
    ASSERT_TRUE(harness::runUntil(io, [&] { return stations[i] && panels[i]; }));
    stations[i]->start([] {});
  }
  // As much as there is room for on the way to the panel that never begins to read.
  std::string const flood(19u << 19, '\x80');
  auto const* const bytes = reinterpret_cast<unsigned char const*>(flood.data());
  auto const size = static_cast<unsigned int>(flood.size());
  int code = 0;
  for (unsigned int done = 0, taken = 1; taken != 0; done += taken)
    taken = stations[0]->send(bytes + done, size - done, code);
  EXPECT_EQ(stations[0]->sent(), size);
  panels[1]->start([] {});
  stations[1]->send(bytes, 1, code);
  EXPECT_TRUE(harness::runUntil(io, [&] { return panels[1]->incoming() == 1; }));
  EXPECT_FALSE(stations[0]->ended() || stations[0]->error());
}

TEST_F(explainProgram, TellsTheOutcomeByItsExitStatus) {
  auto const text = write(dir / "text", "01 81 02"), raw = write(dir / "raw", "\x01\x81\x02");
  auto const wrong = write(dir / "wrong", "hello"), panel = "unix://" + (dir / "none");
  tRow const rows[] = {
      {"--help", 0, "Exit status"},
      {text, 0, "frame  offset 0, size 3  BAD\n  ! wrong encoding"},
      {raw, 0, "frame  offset 0, size 3  BAD\n  ! wrong encoding"},
      {"--json " + text, 0, R"({"kind":"frame","offset":0,"size":3,"good":false,"fault":"wrong e)"},
      {wrong, 2, "line 1: \"hello\" is no hexadecimal text"},
      {dir / "missing", 2, "No such file or directory"},
      {"", 2, "FILE or --link is required"},
      {text + " --link " + panel, 2, "FILE or --link is required"},
      {text + " --record " + raw, 2, "--record requires --link"},
      {"--link " + panel + " --listen serial:///dev/null", 2, "nobody can come"},
      {"--link " + panel, 3, "No such file"},
      {"--link " + panel + " --record /none/none", 1, "/none/none"},
  };
  for (auto const& row : rows) expectRun(NK_EXPLAIN " " + row.arguments, row.status, row.words);
  for (auto const& line : {" --link " + panel + " --listen unix://" + (dir / "unread") + " | :",
                           ' ' + text + " >/dev/full"}) {
    tProgram unread(io, {NK_BASH, "-c", "set -o pipefail; " NK_EXPLAIN + line});
    EXPECT_EQ(unread.finish(), 1) << line;
    EXPECT_NE(unread.errors.find("the output cannot be written"), std::string::npos) << line;
  }
}

}  // namespace
