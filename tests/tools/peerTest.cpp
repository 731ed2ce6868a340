#include <gtest/gtest.h>

#include "harness/link.h"
#include "harness/programs.h"
#include "nkProtocol/controlMessages.h"
#include "nkSupport/base64.h"

// examples/peer.py, which shares no code with the programs, as station and as panel.
namespace {

using harness::contentOf;
using harness::programs;
using harness::tProgram;
using harness::words;

// Only lengths of runs make such content smaller: each byte value occurs equally often.
std::string runs(unsigned int count) {
  std::string text;
  for (unsigned int i = 0; i < count; ++i)
    text.append(4 + i % 60, static_cast<char>('0' + i * 7 % 43));
  return text;
}

struct {
  std::string text;
  std::string small, large;  // the form, in parts of 20000 bytes and of 1 MiB
} const rows[] = {
    {"gr\xc3\xbc\xc3\x9f dich", "in 1 part, plain", "in 1 part, plain"},
    {runs(10000), "in 2 parts, run lengths", "in 1 part, run lengths"},
    {base64::encode(tBlob(harness::randomBytes(1500000, 5).data(), 1500000)).c_str(),
     " parts, Huffman", "in 2 parts, Huffman"},
};

TEST_F(programs, answerPeerInAnotherLanguage) {
  startDevice("tcp://127.0.0.1:0");
  auto const connect = NK_PEER " --connect " + station.substr(6) + " --to ";
  for (auto const& row : rows) {
    nk_messageGenericReq request(nk_message::VERSION_1, row.text.c_str(), "end");
    std::string arguments = "2 --part-size 20000 file ";
    arguments.append(harness::write(dir / "content", contentOf(request)));
    EXPECT_EQ(run(words(connect + arguments)), 0);
    EXPECT_TRUE(output ==
                R"({"type": 29, "version": 1, "text1": ")" + row.text + "\", \"text2\": \"end\"}\n")
        << output.size();
    auto const size = std::to_string(contentOf(request).size()) + " bytes ";
    for (auto const& said :
         {"sent " + size, row.small + "\n", "received " + size + row.large + "\n"})
      EXPECT_NE(errors.find(said), errors.npos) << said << errors;
  }
  struct {
    std::string arguments, output;
  } const brief[] = {
      {"4294967294 generic a b", R"({"type": 29, "version": 0, "text1": "a", "text2": "b"})"},
      {"2 time", R"({"type": 11, "version": 0, "time": )"},
      {"2 shutdown", ""},
  };
  for (auto const& row : brief) {
    EXPECT_EQ(run(words(connect + row.arguments)), 0) << errors;
    EXPECT_EQ(output.substr(0, row.output.size()), row.output);
  }
  EXPECT_EQ(device->finish(), 0);
}

TEST_F(programs, askPeerInAnotherLanguage) {
  tProgram peer(io, words(NK_PEER " --listen 127.0.0.1:0 --address 2 --part-size 20000"));
  station = peer.waitFor("listening on ");
  for (auto const& row : rows) {
    nk_messageGenericReq request(nk_message::VERSION_0, row.text.c_str(), "end");
    auto const content = contentOf(request);
    EXPECT_EQ(ask("raw " + harness::write(dir / "content", content)), 0) << errors;
    EXPECT_TRUE(output == R"({"action":"generic","type":"response","text1":")" + row.text +
                              R"(","text2":"end"})" + "\n")
        << output.size();
    auto const size = std::to_string(content.size()) + " bytes ";
    EXPECT_EQ(peer.waitFor("received " + size), row.large);
    auto const sent = peer.waitFor("sent " + size);
    EXPECT_TRUE(sent.ends_with(row.small)) << sent;
  }
  expect("time", 0);
  expectRun(NK_CTL " --link " + station + " --to broadcast generic a b --timeout " +
                harness::patienceText(),
            0);
  expect("shutdown", 0);
  EXPECT_EQ(peer.finish(), 0) << peer.errors;
}

}  // namespace
