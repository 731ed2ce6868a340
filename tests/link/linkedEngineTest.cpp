#include "link/linkedEngine.h"

#include <gtest/gtest.h>

#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/link.h"
#include "harness/system.h"

namespace {

using harness::runUntil;

// Leaves the content where it is, so that it goes back as the answer.
void echo(unsigned int, tBlob*, void*) {}

void keepAnswer(unsigned int, tBlob* content, void*, bool timedOut, void* userData) {
  auto& kept = *static_cast<std::string*>(userData);
  kept = timedOut ? "timed out" : harness::text(*content);
}

// The frames of one request from address 1 to address 2.
std::string framesOf(std::string const& content) {
  harness::tPair pair;
  pair.a.request(content, 2);
  pair.a.poll();
  return harness::text(pair.toB.bytes);
}

// An engine with address 2 that echoes, and the far end of its link.
class linkedEngine : public testing::Test {
 protected:
  nk_linkedEngine& echoing(nk_carrier::tLimits const& limits,
                           nk_linkedEngine::tSetup const& setup = echoSetup()) {
    auto [mine, other] = harness::socketPair();
    peer = std::move(other);
    panel = std::make_unique<nk_linkedEngine>(io, mine.release(), limits, setup);
    panel->start([this] { ++events; });
    return *panel;
  }
  static nk_linkedEngine::tSetup echoSetup() {
    nk_linkedEngine::tSetup setup;
    setup.address = 2;
    setup.receive = echo;
    return setup;
  }
  // Reads what is there at the far end.
  void readPeer() {
    char buffer[65536];
    for (ssize_t count; (count = ::recv(peer.get(), buffer, sizeof buffer, 0)) > 0;)
      fromPanel.append(buffer, static_cast<unsigned int>(count));
  }

  asio::io_context io{1};
  harness::tDescriptor peer;
  std::unique_ptr<nk_linkedEngine> panel;
  std::string fromPanel;
  unsigned int events = 0;
};

TEST_F(linkedEngine, answersEverythingBeforeItIsFinished) {
  auto& device = echoing({});
  auto const content = harness::randomBytes(200, 2);
  std::string const frames = framesOf(content) + framesOf(content) + framesOf(content);
  ASSERT_EQ(::send(peer.get(), frames.data(), frames.size(), 0), ssize_t(frames.size()));
  ::shutdown(peer.get(), SHUT_WR);
  EXPECT_TRUE(runUntil(io, [&] { return device.finished(); }));
  EXPECT_FALSE(device.carrier().error());
  panel.reset();
  readPeer();
  harness::tPair pair;
  pair.toA.bytes.append(fromPanel.data(), static_cast<unsigned int>(fromPanel.size()));
  pair.a.poll();
  auto const log = pair.a.takeLog();
  EXPECT_EQ(std::count(log.begin(), log.end(), "did not find request for response"), 3);
}

TEST_F(linkedEngine, timeOutsFireOnAQuietLink) {
  harness::tFakeClock clock;
  auto& station = echoing({});
  std::string answer;
  tBlob blob("?", 1);
  station.engine().enqueue_TS(&blob, 3, keepAnswer, 5, &answer);
  station.pump();
  clock.advance(6);
  EXPECT_TRUE(runUntil(io, [&] { return !answer.empty(); }));
  EXPECT_EQ(answer, "timed out");
}

TEST_F(linkedEngine, aFloodThatTakesNoAnswersIsHeldBackAndThenCutOff) {
  nk_carrier::tLimits limits{65536, 4096, std::chrono::milliseconds(150)};
  auto& device = echoing(limits);
  auto const frames = framesOf(harness::randomBytes(1000, 3));
  unsigned int position = 0, most = 0;
  EXPECT_TRUE(runUntil(io, [&] {
    ssize_t count = 1;
    for (; count > 0; position = (position + unsigned(count)) % unsigned(frames.size()))
      if ((count = ::send(peer.get(), frames.data() + position, frames.size() - position,
                          MSG_NOSIGNAL)) <= 0)
        break;
    most = std::max({most, device.carrier().outgoing(), device.carrier().incoming()});
    return device.finished();
  }));
  EXPECT_LE(most, limits.buffered);
  EXPECT_GT(most, limits.buffered / 2);
  EXPECT_EQ(device.carrier().error(), std::errc::timed_out);
}

// A few bytes may ask for a lot: answers must not be made faster than they go.
TEST_F(linkedEngine, largeAnswersDoNotPileUpBehindAGuard) {
  nk_linkedEngine::tSetup setup;
  setup.address = 2;
  setup.guard = nk_linkGuard::tOptions::all(2);
  unsigned int requests = 0;
  setup.context = &requests;
  setup.receive = [](unsigned int, tBlob* content, void* context) {
    ++*static_cast<unsigned int*>(context);
    *content = harness::noise(20000);
  };
  nk_carrier::tLimits const limits{65536, 65536, harness::patience};
  auto& device = echoing(limits, setup);
  harness::tPair asker;
  for (int i = 0; i < 1000; ++i) asker.a.request("?", 2);
  asker.a.poll();
  auto const& frames = asker.toB.bytes;
  ASSERT_EQ(::send(peer.get(), frames.data(), frames.size(), 0), ssize_t(frames.size()));
  EXPECT_TRUE(runUntil(io, [&] { return device.carrier().congested(); }));
  device.pump();
  int room = 0;
  socklen_t size = sizeof room;
  ::getsockopt(peer.get(), SOL_SOCKET, SO_RCVBUF, &room, &size);
  EXPECT_LE(requests, (unsigned(room) * 2 + limits.buffered / 2) / 20000 + 3);
  EXPECT_GT(device.unhandled(), 0u);
  EXPECT_TRUE(runUntil(io, [&] {
    readPeer();
    return requests == 1000 && device.carrier().outgoing() == 0;
  }));
}

}  // namespace
