#include "link/linkUrl.h"
#include "link/serialLine.h"

#include <gtest/gtest.h>

namespace {

struct tRow {
  std::string text;
  std::string outcome;  // the address as written back, or words of the error
  bool ok = false;
};

tRow good(std::string const& text) { return {text, text, true}; }

// Parts of a quarter of a second each; a line of 8N1 sends 10 bits for a byte.
TEST(serialLine, partsSuitTheRate) {
  EXPECT_EQ(nk_linePayload(115200), 2880u);
  EXPECT_EQ(nk_linePayload(9600), 240u);
  EXPECT_EQ(nk_linePayload(50), 64u);
}

TEST(linkUrl, readsAddressesAndExplainsRefusals) {
  tRow const rows[] = {
      good("tcp://localhost:4711"),
      good("tcp://127.0.0.1:0"),
      good("tcp://[::1]:65535"),
      good("unix:///run/nk.sock"),
      good("unix:///with?query and blank"),
      good("unix:///" + std::string(106, 'x')),
      good("serial:///dev/ttyS0?baud=9600"),
      {"serial:///dev/ttyS0", "serial:///dev/ttyS0?baud=115200", true},
      {"", "begins with tcp://"},
      {"udp://host:1", "begins with tcp://"},
      {"TCP://host:1", "begins with tcp://"},
      {"tcp:/host:1", "begins with tcp://"},
      {"tcp://", "host is missing"},
      {"tcp://:1", "host is missing"},
      {"tcp://[]:1", "host is missing"},
      {"tcp://host", "port is missing"},
      {"tcp://[::1]", "port is missing"},
      {"tcp://[::1]4711", "port is missing"},
      {"tcp://[::1:4711", "not closed"},
      {"tcp://[[]:4711", "holds a bracket"},
      {"tcp://a]:4711", "holds a bracket"},
      {"tcp://::1:4711", "host is missing"},
      {"tcp://fe80::1:4711", "needs brackets"},
      {"tcp://host:", "no number"},
      {"tcp://host:65536", "no number"},
      {"tcp://host:-1", "no number"},
      {"tcp://host:1/", "no number"},
      {"unix://run/nk.sock", "three slashes"},
      {"unix:///", "three slashes"},
      {"unix:///" + std::string(107, 'x'), "at most 107 bytes"},
      {"serial://ttyS0", "three slashes"},
      {"serial:///dev/ttyS0?speed=9600", "only ?baud="},
      {"serial:///dev/ttyS0?baud=", "no baud rate"},
      {"serial:///dev/ttyS0?baud=0", "no baud rate"},
      {"serial:///dev/ttyS0?baud=12345", "no baud rate"},
      {"serial:///dev/ttyS0?baud=9600x", "no baud rate"},
  };
  for (auto const& row : rows) {
    nk_linkUrl url;
    url.host = "untouched";
    std::string error;
    bool const ok = nk_linkUrl::parse(row.text, url, error);
    EXPECT_EQ(ok, row.ok) << row.text << ": " << error;
    if (ok) {
      EXPECT_EQ(url.text(), row.outcome);
      EXPECT_TRUE(error.empty());
    } else {
      EXPECT_NE(error.find(row.outcome), error.npos) << row.text << ": " << error;
      EXPECT_EQ(url.host, "untouched") << row.text;
    }
  }
}

}  // namespace
