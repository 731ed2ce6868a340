#include <gtest/gtest.h>

#include <fstream>

#include "harness/link.h"
#include "harness/programs.h"
#include "nkProtocol/controlMessages.h"
#include "nkSupport/base64.h"
#include "nkSupport/tJson.h"

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
  void talk(std::string const& panelUrl, std::string const& url) {
    auto const device = startDevice(panelUrl);
    tProgram explain(io, words(NK_EXPLAIN " --json --listen " + url + " --record " + record +
                               " --link " + station));
    station = explain.waitFor("listening on ");
    station.resize(station.find(", for "));
    nk_messageGenericReq large(
        nk_message::VERSION_1,
        base64::encode(tBlob(harness::randomBytes(1500000, 5).data(), 1500000)), "end");
    EXPECT_EQ(ask("generic hello panel"), 0) << errors;
    EXPECT_EQ(ask("raw " + write(dir / "large", contentOf(large))), 0) << errors;
    EXPECT_EQ(ask("state"), 0) << errors;
    EXPECT_EQ(ask("shutdown"), 0) << errors;
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
  for (auto const& [panelUrl, url] : {std::pair{tcp, socket}, {socket, tcp}}) {
    talk(panelUrl, url);
    auto const told = lines(live);
    EXPECT_EQ(told.count("telegram"), 7u);
    EXPECT_EQ(told.count("message"), 7u);
    EXPECT_EQ(told.count("frame"), 9u);  // the large one has two parts each way
    EXPECT_NE(live.find(R"("message":{"action":"generic","type":"response","text1":"hello")"),
              live.npos);

    tProgram again(io, {NK_EXPLAIN, "--json", record});
    EXPECT_EQ(again.finish(), 0) << again.errors;
    auto recorded = lines(again.output);
    EXPECT_TRUE(recorded == told);
  }
}

TEST_F(explainProgram, TellsTheOutcomeByItsExitStatus) {
  auto const text = write(dir / "text", "01 81 02"), raw = write(dir / "raw", "\x01\x81\x02");
  auto const wrong = write(dir / "wrong", "hello"), panel = "unix://" + (dir / "none");
  struct {
    std::string arguments;
    int status;
    std::string words;
  } const rows[] = {
      {"--help", 0, "Exit status"},
      {text, 0, "frame  offset 0, size 3  BAD\n  ! wrong encoding"},
      {raw, 0, "frame  offset 0, size 3  BAD\n  ! wrong encoding"},
      {"--json " + text, 0, R"({"kind":"frame","offset":0,"size":3,"good":false,"fault":"wrong e)"},
      {wrong, 2, "line 1: \"hello\" is no hexadecimal text"},
      {dir / "missing", 2, "cannot be opened"},
      {"", 2, "FILE or --link is required"},
      {text + " --link " + panel, 2, "FILE or --link is required"},
      {text + " --record " + raw, 2, "--record requires --link"},
      {"--link " + panel + " --listen serial:///dev/null", 2, "nobody can come"},
      {"--link " + panel, 3, "No such file"},
      {"--link " + panel + " --record /none/none", 1, "/none/none"},
  };
  for (auto const& row : rows) {
    tProgram explain(io, words(NK_EXPLAIN " " + row.arguments));
    EXPECT_EQ(explain.finish(), row.status) << row.arguments << explain.errors;
    EXPECT_NE((row.status == 0 ? explain.output : explain.errors).find(row.words),
              std::string::npos)
        << row.arguments << explain.output << explain.errors;
  }
}

}  // namespace
