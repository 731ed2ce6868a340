#include "link/carrier.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "harness/system.h"
#include "link/dialer.h"
#include "link/listener.h"
#include "link/serialLine.h"

namespace {

using harness::runUntil;

// A carrier with what it is to send and what it has received.
struct tEnd {
  tEnd(asio::io_context& io, int descriptor, nk_carrier::tLimits const& limits)
      : carrier(io, descriptor, limits), room(limits.buffered) {
    carrier.start([this] { move(); });
  }
  void say(std::string const& bytes) {
    toSend = bytes;
    move();
  }
  void move() {
    while (!toSend.empty() && carrier.outgoing() < room && !carrier.error()) {
      int error = 0;
      auto* const data = reinterpret_cast<unsigned char*>(toSend.data());
      auto const size = static_cast<unsigned int>(toSend.size());
      toSend.erase(0, nk_carrier::sendFor(nullptr, &carrier, data, size, &error));
    }
    unsigned char buffer[1000];
    while (auto const count =
               nk_carrier::receiveFor(nullptr, &carrier, buffer, sizeof buffer, nullptr))
      received.append(reinterpret_cast<char*>(buffer), count);
  }
  bool over() const { return carrier.ended() || carrier.error(); }

  nk_carrier carrier;
  unsigned int room;
  std::string toSend, received;
};

struct tPair {
  std::unique_ptr<tEnd> station, panel;
};

// Both ends of a link, opened the way the programs open them.
tPair openPair(asio::io_context& io, nk_linkUrl::teKind kind, nk_carrier::tLimits const& limits) {
  tPair pair;
  harness::tTempDir dir;
  harness::tTerminal terminal;
  nk_linkUrl url;
  url.kind = kind;
  url.host = "127.0.0.1";
  url.path = kind == nk_linkUrl::KIND_SERIAL ? terminal.path : dir / "socket";
  nk_listener listener(io);
  auto const takePanel = [&](int one) { pair.panel = std::make_unique<tEnd>(io, one, limits); };
  auto const takeStation = [&](int one) {
    pair.station = std::make_unique<tEnd>(io, one, limits);
    if (kind == nk_linkUrl::KIND_SERIAL) takePanel(terminal.master.release());
  };
  if (kind != nk_linkUrl::KIND_SERIAL) {
    EXPECT_FALSE(listener.open(url));
    listener.start(takePanel);
    url = listener.url();
  }
  nk_dialer dialer(io, url, {}, {takeStation, {}, {}});
  dialer.dial();
  EXPECT_TRUE(runUntil(io, [&] { return pair.station && pair.panel; }));
  return pair;
}

class carrier : public testing::TestWithParam<std::tuple<nk_linkUrl::teKind, unsigned int>> {
 protected:
  carrier() {
    limits.perCall = std::get<1>(GetParam());
    limits.buffered = 32768;
    pair = openPair(io, std::get<0>(GetParam()), limits);
    size = limits.perCall == 1 ? 20000 : 1u << 20;
  }
  bool serial() const { return std::get<0>(GetParam()) == nk_linkUrl::KIND_SERIAL; }

  asio::io_context io{1};
  nk_carrier::tLimits limits;
  tPair pair;
  unsigned int size;
};

TEST_P(carrier, carriesBothDirectionsAtOnceAndEndsInOrder) {
  auto const request = harness::randomBytes(size, 1), answer = harness::randomBytes(size + 7, 2);
  pair.station->say(request);
  pair.panel->say(answer);
  EXPECT_TRUE(runUntil(io, [&] {
    EXPECT_LE(pair.station->carrier.outgoing(), limits.buffered);
    EXPECT_LE(pair.panel->carrier.incoming(), limits.buffered);
    return pair.station->received.size() == answer.size() &&
           pair.panel->received.size() == request.size();
  }));
  EXPECT_TRUE(pair.station->received == answer);
  EXPECT_TRUE(pair.panel->received == request);
  EXPECT_EQ(pair.station->carrier.isSerial(), serial());

  pair.station->carrier.finishSending();
  EXPECT_FALSE(pair.station->carrier.error());
  if (serial()) pair.station.reset();
  EXPECT_TRUE(runUntil(io, [&] { return pair.panel->over(); }));
  if (serial()) return;
  EXPECT_FALSE(pair.panel->carrier.error());
  pair.panel->say("the other direction is still open");
  EXPECT_TRUE(runUntil(io, [&] { return pair.station->received.ends_with("still open"); }));
}

TEST_P(carrier, reportsThatThePeerHasGone) {
  pair.panel.reset();
  EXPECT_TRUE(runUntil(io, [&] { return pair.station->over(); }));
  pair.station->say(std::string(100000, 'x'));
  EXPECT_TRUE(runUntil(io, [&] {
    pair.station->move();
    return bool(pair.station->carrier.error());
  }));
  unsigned char byte = 0;
  int error = 0;
  EXPECT_EQ(nk_carrier::sendFor(nullptr, &pair.station->carrier, &byte, 1, &error), 0u);
  EXPECT_TRUE(error == EPIPE || error == ECONNRESET || error == EIO) << error;
}

INSTANTIATE_TEST_SUITE_P(links, carrier,
                         testing::Combine(testing::Values(nk_linkUrl::KIND_TCP,
                                                          nk_linkUrl::KIND_UNIX,
                                                          nk_linkUrl::KIND_SERIAL),
                                          testing::Values(65536u, 1u)));

TEST(carrierBounds, aPeerThatTakesNothingEndsTheLinkAndNeverAsksToTryAgain) {
  asio::io_context io{1};
  auto [mine, peer] = harness::socketPair();
  nk_carrier::tLimits limits{4096, 4096, std::chrono::milliseconds(20)};
  nk_carrier waiting(io, mine.release(), limits);
  std::vector<unsigned char> const chunk(1000);
  int error = 0;
  unsigned int rounds = 0;
  while (waiting.send(chunk.data(), 1000, error) != 0 && rounds < 100000) {
    EXPECT_LE(waiting.outgoing(), limits.buffered);
    ++rounds;
  }
  EXPECT_EQ(error, ETIMEDOUT);
  EXPECT_EQ(waiting.error(), std::errc::timed_out);
}

TEST(carrierBounds, aPeerThatTakesALittleNowAndThenKeepsNobodyWaitingForEver) {
  asio::io_context io{1};
  int ends[2] = {-1, -1};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  harness::tDescriptor const peer(ends[1]);
  nk_carrier carrier(io, ends[0], {1 << 20, 1024, std::chrono::milliseconds(100)});
  std::atomic<bool> over = false;
  std::thread reader([&] {
    for (char some[512]; !over && ::recv(peer.get(), some, sizeof some, 0) > 0;)
      ::poll(nullptr, 0, 1);
  });
  unsigned char const bytes[65536] = {};
  int error = 0;
  while (carrier.sent() < 8 << 20 && carrier.send(bytes, sizeof bytes, error) != 0) {
  }
  over = true;
  EXPECT_EQ(error, ETIMEDOUT);
  ::shutdown(ends[0], SHUT_RDWR);
  reader.join();
}

TEST(carrierBounds, unreadBytesStayWithTheSystem) {
  asio::io_context io{1};
  auto [mine, peer] = harness::socketPair();
  nk_carrier lazy(io, mine.release(), {1000, 300, std::chrono::seconds(1)});
  unsigned int events = 0;
  lazy.start([&] { ++events; });
  std::string const flood(5000, 'x');
  ASSERT_EQ(::send(peer.get(), flood.data(), flood.size(), 0), 5000);
  EXPECT_TRUE(runUntil(io, [&] { return lazy.incoming() == 1000; }));
  while (io.poll() != 0) {
  }
  EXPECT_EQ(lazy.incoming(), 1000u);
  unsigned char buffer[1000];
  for (unsigned int sum = 0; sum < 5000;) {
    ASSERT_TRUE(runUntil(io, [&] { return lazy.incoming() != 0; }));
    EXPECT_LE(lazy.incoming(), 1000u);
    sum += lazy.receive(buffer, sizeof buffer);
    EXPECT_EQ(lazy.received(), sum);
  }
  EXPECT_LT(events, 100u);
}

// Not started, a carrier is never told that bytes can move: as if the terminal's driver forgot to.
TEST(carrierBounds, aSerialLineThatDoesNotSayWhenBytesCanMoveIsLookedAtNowAndThen) {
  asio::io_context io{1};
  harness::tTerminal terminal;
  std::error_code problem;
  nk_linkUrl line;
  line.path = terminal.path;
  harness::tDescriptor const peer(nk_openSerialLine(line, problem));
  ASSERT_FALSE(problem);
  nk_carrier forgotten(io, terminal.master.release(), {1u << 20, 65536, harness::patience});
  auto const bytes = harness::randomBytes(1u << 19, 5);
  int error = 0;
  for (unsigned int sent = 0; sent < bytes.size();) {
    auto* const next = reinterpret_cast<unsigned char const*>(bytes.data()) + sent;
    auto const taken = forgotten.send(next, static_cast<unsigned int>(bytes.size()) - sent, error);
    ASSERT_NE(taken, 0u);
    sent += taken;
  }
  std::string seen;
  auto const deadline = std::chrono::steady_clock::now() + harness::patience;
  while (seen.size() < bytes.size() && std::chrono::steady_clock::now() < deadline) {
    char buffer[4096];
    auto const count = ::read(peer.get(), buffer, sizeof buffer);
    if (count > 0) seen.append(buffer, static_cast<unsigned int>(count));
    forgotten.checkProgress();
  }
  EXPECT_TRUE(seen == bytes);
  ASSERT_EQ(::write(peer.get(), "back", 4), 4);
  while (forgotten.incoming() < 4 && std::chrono::steady_clock::now() < deadline)
    forgotten.checkProgress();
  EXPECT_EQ(forgotten.incoming(), 4u);
}

// The peer writes before it reads: both ends would wait for ever if sending did not read ahead.
TEST(carrierBounds, waitingToSendReadsAhead) {
  asio::io_context io{1};
  auto [mine, peer] = harness::socketPair();
  auto const request = harness::randomBytes(1u << 20, 3),
             answer = harness::randomBytes(1u << 20, 4);
  std::string seen;
  ::fcntl(peer.get(), F_SETFL, 0);  // waits
  std::thread other([&, end = peer.get()] {
    for (unsigned int sent = 0; sent < answer.size();) {
      auto const count = ::send(end, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
      if (count <= 0) return;
      sent += static_cast<unsigned int>(count);
    }
    char buffer[4096];
    for (ssize_t count; (count = ::recv(end, buffer, sizeof buffer, 0)) > 0;)
      seen.append(buffer, static_cast<unsigned int>(count));
  });
  std::string received(answer.size(), '\0');
  {
    nk_carrier sender(io, mine.release(), {1u << 21, 65536, harness::patience});
    auto* const bytes = reinterpret_cast<unsigned char const*>(request.data());
    int error = 0;
    for (unsigned int round = 0; round < 4; ++round) {
      for (unsigned int sent = 0, count = 1; sent < request.size() && count != 0; sent += count) {
        auto const rest = static_cast<unsigned int>(request.size()) - sent;
        count = sender.send(bytes + sent, rest, error);
      }
    }
    EXPECT_EQ(error, 0);
    sender.start([] {});
    EXPECT_TRUE(runUntil(io, [&] {
      return (sender.outgoing() == 0 && sender.incoming() == answer.size()) || sender.error();
    }));
    sender.receive(reinterpret_cast<unsigned char*>(received.data()), 1u << 20);
  }
  other.join();
  EXPECT_TRUE(received == answer);
  EXPECT_TRUE(seen == request + request + request + request);
}

}  // namespace
