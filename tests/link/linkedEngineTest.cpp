#include "link/linkedEngine.h"

#include <gtest/gtest.h>

#include <asio/post.hpp>

#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/link.h"
#include "harness/manualClock.h"
#include "harness/system.h"

namespace {

using harness::runUntil;

// The frames of requests from address 1 to address 2.
std::string framesOf(std::string const& content, unsigned int count = 1) {
  harness::tPair pair;
  for (unsigned int i = 0; i < count; ++i) pair.a.request(content, 2);
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
    setup.receive = [](unsigned int, tBlob*, void*) {};  // content that stays is the answer
    return setup;
  }
  void give(std::string const& bytes) { harness::give(peer, bytes); }

  asio::io_context io{1};
  harness::tDescriptor peer;
  std::unique_ptr<nk_linkedEngine> panel;
  unsigned int events = 0;
};

TEST_F(linkedEngine, answersEverythingBeforeItIsFinished) {
  auto& device = echoing({});
  auto const content = harness::randomBytes(200, 2);
  give(framesOf(content, 3));
  ::shutdown(peer.get(), SHUT_WR);
  EXPECT_TRUE(runUntil(io, [&] { return device.finished(); }));
  EXPECT_FALSE(device.carrier().error());
  panel.reset();
  harness::tPair pair;
  auto const count = ::recv(peer.get(), pair.toA.bytes.extend(65536), 65536, 0);
  pair.toA.bytes.truncate(static_cast<unsigned int>(count));
  pair.a.poll();
  auto const log = pair.a.takeLog();
  EXPECT_EQ(std::count(log.begin(), log.end(), "did not find request for response"), 3);
}

TEST_F(linkedEngine, timeOutsFireOnAQuietLink) {
  harness::tFakeClock clock;
  auto& station = echoing({});
  std::string answer;
  tBlob blob("?", 1);
  auto const keep = [](unsigned int, tBlob*, void*, bool timedOut, void* kept) {
    *static_cast<std::string*>(kept) = timedOut ? "timed out" : "answered";
  };
  station.engine().enqueue_TS(&blob, 3, keep, 5, &answer);
  station.pump();
  clock.advance(6);
  EXPECT_TRUE(runUntil(io, [&] { return !answer.empty(); }));
  EXPECT_EQ(answer, "timed out");
}

// A few bytes may ask for a lot: answers must not be made faster than they go.
TEST(linkedEngines, aPeerThatDoesNotReadHoldsUpNobodyButItself) {
  constexpr unsigned int large = 1u << 20;
  asio::io_context io{1};
  nk_carrier::tLimits limits;
  auto& clock = harness::tManualClock::install(io);
  limits.buffered = 65536;
  nk_linkedEngine::tSetup setup;
  setup.address = 2;
  setup.receive = [](unsigned int, tBlob* content, void*) {
    if (harness::text(*content) == "large") *content = harness::noise(large);
  };
  for (bool const guarded : {true, false}) {
    if (guarded) setup.guard = nk_linkGuard::tOptions::all(2);
    auto [deafEnd, deafPeer] = harness::socketPair();
    auto [otherEnd, otherPeer] = harness::socketPair();
    nk_linkedEngine deaf(io, deafEnd.release(), limits, setup);
    nk_linkedEngine other(io, otherEnd.release(), limits, setup);
    for (auto* const one : {&deaf, &other}) one->start([] {});
    harness::give(deafPeer, framesOf("large", 10));
    EXPECT_TRUE(runUntil(io, [&deaf] { return deaf.carrier().congested(); }));
    harness::give(otherPeer, framesOf("small"));
    char answer;
    EXPECT_TRUE(
        runUntil(io, [&, &peer = otherPeer] { return ::recv(peer.get(), &answer, 1, 0) == 1; }));
    auto const most = limits.buffered / 2 + (guarded ? 1 : 10) * (large * 5 / 4);
    EXPECT_LT(deaf.carrier().outgoing(), most);
    EXPECT_LT(deaf.carrier().incoming(), limits.buffered);
    clock.advance(limits.patience + std::chrono::milliseconds(1));
    EXPECT_TRUE(runUntil(io, [&deaf] { return deaf.finished(); }));
    EXPECT_EQ(deaf.carrier().error(), std::errc::timed_out);
    EXPECT_FALSE(other.finished());
    setup.guard.reset();
  }
}

TEST_F(linkedEngine, aRoundEndsSoThatOthersHaveTheirTurn) {
  auto setup = echoSetup();
  setup.guard = nk_linkGuard::tOptions::all(2);
  auto& device = echoing({}, setup);
  give(framesOf("?", 1000));
  unsigned int turns = 0;
  std::function<void()> const other = [&] {
    ++turns;
    if (device.guard()->counters().delivered < 1000 || device.unhandled() != 0)
      asio::post(io, other);
  };
  EXPECT_TRUE(runUntil(io, [&] { return device.unhandled() != 0; })) << "all in one round";
  other();
  EXPECT_TRUE(runUntil(io, [&] { return device.unhandled() == 0; }));
  EXPECT_GT(turns, 5u);
}

TEST_F(linkedEngine, aQuietLinkHoldsNoIncompleteTelegramForEver) {
  auto setup = echoSetup();
  setup.guard = nk_linkGuard::tOptions::all(2);
  nk_clock::tMoment now{};
  setup.guard->now = [&now] { return now; };
  auto& device = echoing({}, setup);
  give(harness::bytesOf({.id = 1, .last = false, .from = 1, .to = 2, .size = 100000}));
  EXPECT_TRUE(runUntil(io, [&] { return device.guard()->heldBytes() > 100000; }));
  now += setup.guard->expiry;
  EXPECT_TRUE(runUntil(io, [&] { return device.guard()->heldBytes() == 0; }));
}

}  // namespace
