#include "link/linkUrl.h"
#include "link/serialLine.h"

#include <gtest/gtest.h>

namespace {

// Parts of a quarter of a second each; a line of 8N1 sends 10 bits for a byte.
TEST(serialLine, partsSuitTheRate) {
  EXPECT_EQ(nk_linePayload(115200), 2880u);
  EXPECT_EQ(nk_linePayload(9600), 240u);
  EXPECT_EQ(nk_linePayload(50), 64u);
}

std::string const longest = "unix:///" + std::string(106, 'x');

TEST(linkUrl, readsAndWritesAddresses) {
  for (std::string const text :
       {longest.c_str(), "tcp://localhost:4711", "tcp://127.0.0.1:0", "tcp://[::1]:65535",
        "unix:///run/nk.sock", "unix:///with?query and blank", "serial:///dev/ttyS0?baud=9600",
        "serial:///dev/ttyS0"}) {
    nk_linkUrl url;
    std::string error;
    EXPECT_TRUE(nk_linkUrl::parse(text, url, error)) << text << error;
    EXPECT_EQ(url.text(), text + (text.ends_with("ttyS0") ? "?baud=115200" : ""));
  }
}

TEST(linkUrl, explainsRefusals) {
  std::pair<std::string, std::vector<std::string>> const rows[] = {
      {"at most 107 bytes", {longest + "x"}},
      {"begins with tcp://", {"", "udp://host:1", "TCP://host:1", "tcp:/host:1"}},
      {"host is missing", {"tcp://", "tcp://:1", "tcp://[]:1", "tcp://::1:4711"}},
      {"port is missing", {"tcp://host", "tcp://[::1]", "tcp://[::1]4711"}},
      {"not closed", {"tcp://[::1:4711"}},
      {"holds a bracket", {"tcp://[[]:4711", "tcp://a]:4711"}},
      {"needs brackets", {"tcp://fe80::1:4711"}},
      {"no number", {"tcp://host:", "tcp://host:65536", "tcp://host:-1", "tcp://host:1/"}},
      {"three slashes", {"unix://run/nk.sock", "unix:///", "serial://ttyS0"}},
      {"only ?baud=", {"serial:///dev/ttyS0?speed=9600"}},
      {"no baud rate",
       {"serial:///dev/ttyS0?baud=", "serial:///dev/ttyS0?baud=0", "serial:///dev/ttyS0?baud=12345",
        "serial:///dev/ttyS0?baud=9600x"}},
  };
  for (auto const& [problem, texts] : rows) {
    for (auto const& text : texts) {
      nk_linkUrl url;
      url.host = "untouched";
      std::string error;
      EXPECT_FALSE(nk_linkUrl::parse(text, url, error)) << text;
      EXPECT_NE(error.find(problem), error.npos) << text << ": " << error;
      EXPECT_EQ(url.host, "untouched") << text;
    }
  }
}

}  // namespace
