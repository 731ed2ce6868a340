#include "link/openLinks.h"

#include <gtest/gtest.h>

#include "harness/link.h"
#include "harness/manualClock.h"
#include "harness/system.h"

namespace {

using harness::runUntil;
using std::chrono::seconds;

// Links to peers inside the test, with a clock that stands until it is moved.
class openLinks : public testing::Test {
 protected:
  void open(nk_openLinks::tLimits const& limits) {
    peers.clear();
    ended.clear();
    nk_linkedEngine::tSetup setup;
    setup.address = 2;
    setup.guard = nk_linkGuard::tOptions::all(2);
    setup.receive = [](unsigned int, tBlob* content, void*) {
      *content = harness::noise(1u << 20);
    };
    auto const note = [this](nk_peer const& peer, std::string const& why) {
      ended.push_back(peer.name);
      reason = why;
    };
    links.emplace(io, limits, setup,
                  nk_openLinks::tReports{
                      [](auto const&) {},
                      [note](auto& link, auto const& why) { note(link.peer, why); }, note});
  }
  void connect(std::string const& name, std::string const& origin) {
    auto [mine, other] = harness::socketPair();
    peers[name] = std::move(other);
    links->add(mine.release(), {name, origin});
  }
  // Sends the first part of a telegram, which is a whole frame, and waits until it has arrived.
  // From peers with "!" behind their name it is a request, whose large answer they do not read.
  void say(std::string const& name, unsigned int size = 10) {
    harness::tFrame part{.id = ++id, .last = name.ends_with('!'), .from = 1, .to = 2};
    part.size = size;
    if (!part.last) part.type = nk_basicTelegram::TYPE_REQUEST_NO_RESPONSE;
    auto const frame = harness::bytesOf(part);
    for (unsigned int sent = 0; sent < frame.size();) {
      auto const count =
          ::send(peers[name].get(), frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
      if (count < 0 && errno != EAGAIN) return;
      if (count > 0) sent += static_cast<unsigned int>(count);
      io.restart();
      io.poll();
    }
    clock.settle();
  }
  // Sends bytes of a frame's body, with `start` ahead of them.
  void sendPart(std::string const& name, std::string const& start, unsigned int size) {
    auto const part = start + std::string(size, '\x80');
    ASSERT_EQ(::send(peers[name].get(), part.data(), part.size(), 0), ssize_t(part.size()));
    clock.settle();
  }

  asio::io_context io{1};
  harness::tManualClock& clock = harness::tManualClock::install(io);
  unsigned int id = 0;
  std::map<std::string, harness::tDescriptor> peers;
  std::vector<std::string> ended;
  std::string reason;
  std::optional<nk_openLinks> links;
};

// Three places, two for each origin, the second letter of a name ("-" for none). Peers with "+"
// send a whole frame, after the pause those with "~" a part of one; then one more comes.
TEST_F(openLinks, whoGivesWayToANewcomer) {
  using tNames = std::vector<std::string>;
  struct {
    char const* what;
    tNames before;
    int pause_s;
    std::string newcomer, ends;  // who has to go
  } const rows[] = {
      {"a place is free", {"a1", "b1"}, 60, "n2", ""},
      {"the oldest silent one", {"a1+", "b1", "c2"}, 0, "n3", "b1"},
      {"the one that rests longest", {"a1+", "b1+", "c2+"}, 10, "n3", "a1+"},
      {"nobody who is answered", {"a1!", "b1+", "c2+"}, 10, "n3", "b1+"},
      {"nobody who is busy", {"a1+", "b1+", "c2+"}, 9, "n3", "n3"},
      {"no new frame", {"a1~", "b1", "c2"}, 0, "n3", "b1"},
      {"no frame after a rest", {"a1+~", "b1+", "c2+"}, 60, "n3", "b1+"},
      {"one of the same origin", {"a1", "b2+", "c2"}, 0, "n2", "c2"},
      {"not one of another origin", {"a1", "b2+", "c2+"}, 0, "n2", "n2"},
      {"no quota without an origin", {"a-+", "b-+"}, 0, "n-", ""},
  };
  nk_openLinks::tLimits limits;
  limits.links = 3;
  limits.perOrigin = 2;
  limits.firstFrame = seconds(0);
  auto const origin = [](std::string const& name) {
    return name[1] == '-' ? "" : name.substr(1, 1);
  };
  for (auto const& row : rows) {
    open(limits);
    for (auto const& name : row.before) {
      connect(name, origin(name));
      if (name.find_first_of("+!") != name.npos) say(name);
    }
    clock.advance(seconds(row.pause_s));
    for (auto const& name : row.before)
      if (name.back() == '~') sendPart(name, "\x01", 2048);
    connect(row.newcomer, origin(row.newcomer));
    EXPECT_EQ(ended, row.ends.empty() ? tNames{} : tNames{row.ends}) << row.what << ": " << reason;
  }
}

TEST_F(openLinks, whoNeverSendsAWholeFrameEndsInTime) {
  open({});
  for (auto const* name : {"silent", "noisy", "talking", "dribbling", "slow"}) connect(name, "1");
  connect("line", "");
  ASSERT_EQ(::send(peers["noisy"].get(), "\x01noise", 6, 0), 6);
  say("talking");
  for (unsigned int second = 0; second < 10; ++second) {
    sendPart("dribbling", second == 0 ? "\x01" : "", 1);
    sendPart("slow", second == 0 ? "\x01" : "", 4096);
    clock.advance(seconds(1));
  }
  say("talking");
  EXPECT_TRUE(ended.empty()) << ended[0];
  clock.advance(std::chrono::milliseconds(100));  // it is looked at ten times a second
  std::sort(ended.begin(), ended.end());
  EXPECT_EQ(ended, (std::vector<std::string>{"dribbling", "noisy", "silent"}));
  EXPECT_EQ(reason, "no whole frame in 10 s");
  clock.advance(seconds(10));
  EXPECT_EQ(ended.back(), "slow") << "its frame no longer grows";
  clock.advance(seconds(3600));
  say("talking");
  peers["talking"].close();
  EXPECT_TRUE(runUntil(io, [&] { return ended.size() == 5; }));
  EXPECT_EQ(links->size(), 1u) << "a serial line stays";
}

TEST_F(openLinks, whatAllHoldTogetherIsBounded) {
  nk_openLinks::tLimits limits;
  limits.held = 8u << 20;
  open(limits);
  for (auto const* name : {"small", "large"}) connect(name, "1");
  say("small", 1u << 20);
  for (unsigned int part = 0; part < 8 && ended.empty(); ++part) say("large", 1u << 20);
  EXPECT_EQ(ended, std::vector<std::string>{"large"});
  EXPECT_EQ(reason.find("held "), 0u) << reason;
  for (unsigned int part = 0; part < 3; ++part) say("small", 1u << 20);
  EXPECT_EQ(links->size(), 1u) << "what the other held no longer counts";
}

TEST(peer, hasANameAndAnOrigin) {
  std::array<char const*, 3> const rows[] = {
      {"10.0.0.7", "10.0.0.7:9", "10.0.0.7"},
      {"::ffff:10.0.0.7", "10.0.0.7:9", "10.0.0.7"},
      {"2001:db8:1:2:3:4:5:6", "[2001:db8:1:2:3:4:5:6]:9", "2001:db8:1:2::/64"}};
  for (auto const& [address, name, origin] : rows) {
    auto const peer = nk_peer::at(asio::ip::make_address(address), 9);
    EXPECT_EQ(peer.name, name);
    EXPECT_EQ(peer.origin, origin);
  }
  // Which of the peers below are on the list, as digits for yes and no.
  std::pair<char const*, char const*> const lists[] = {
      {"", "1111"},          {"10.0.0.7", "1000"},      {"10.1.2.3/8", "1100"},
      {"0.0.0.0/0", "1100"}, {"2001:db8::/32", "0010"}, {"1000", "0001"},
      {"10.0.0.256", "-"},   {"10.0.0.0/33", "-"},      {"hall", "-"}};
  nk_peer const peers[] = {nk_peer::at(asio::ip::make_address("10.0.0.7"), 1),
                           nk_peer::at(asio::ip::make_address("::ffff:10.9.9.9"), 1),
                           nk_peer::at(asio::ip::make_address("2001:db8::1"), 1),
                           {"uid 1000, pid 1", "uid 1000"}};
  for (auto const& [text, expected] : lists) {
    nk_peerList list;
    bool const right = *text == '\0' || list.add(text);
    std::string found = right ? "" : "-";
    for (auto const& each : peers)
      if (right) found += list.contains(each) ? '1' : '0';
    EXPECT_EQ(found, expected) << text;
  }
  auto const [mine, other] = harness::socketPair();
  auto const user = "uid " + std::to_string(::getuid());
  EXPECT_EQ(nk_peer::of(mine.get()).origin, user);
  EXPECT_EQ(nk_peer::of(mine.get()).name, user + ", pid " + std::to_string(::getpid()));
}

}  // namespace
