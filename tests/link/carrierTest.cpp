#include "link/carrier.h"

#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <tuple>

#include "harness/manualClock.h"
#include "harness/system.h"
#include "link/dialer.h"
#include "link/listener.h"
#include "link/serialLine.h"

namespace {

using harness::runUntil;

// A carrier with what it is to send and what it has received.
struct tEnd {
  tEnd(asio::io_context& io, int descriptor, nk_carrier::tLimits const& limits)
      : carrier(io, descriptor, limits) {
    carrier.start([this] { move(); });
  }
  void say(std::string const& bytes) {
    toSend = bytes;
    move();
  }
  void move() {
    while (!toSend.empty() && !carrier.congested() && !carrier.error()) {
      int error = 0;
      auto* const data = reinterpret_cast<unsigned char*>(toSend.data());
      auto const size = static_cast<unsigned int>(std::min<std::size_t>(toSend.size(), chunk));
      toSend.erase(0, nk_carrier::sendFor(nullptr, &carrier, data, size, &error));
    }
    unsigned char buffer[1000];
    while (auto const count =
               nk_carrier::receiveFor(nullptr, &carrier, buffer, sizeof buffer, nullptr))
      received.append(reinterpret_cast<char*>(buffer), count);
  }
  bool over() const { return carrier.ended() || carrier.error(); }

  static constexpr unsigned int chunk = 1000;
  nk_carrier carrier;
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
  url.host = "127.1";  // no address to asio, so that the system's resolver is asked
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
    EXPECT_LE(pair.station->carrier.outgoing(), limits.buffered / 2 + tEnd::chunk);
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

using tUrl = nk_linkUrl;
auto const kinds = testing::Values(tUrl::KIND_TCP, tUrl::KIND_UNIX, tUrl::KIND_SERIAL);
INSTANTIATE_TEST_SUITE_P(links, carrier, testing::Combine(kinds, testing::Values(65536u, 1u)));

// A carrier, the far end, and the carrier's clock.
struct tTimed {
  // A socket, or with a rate a serial line.
  explicit tTimed(unsigned int baud) {
    auto ends = harness::socketPair();
    peer = std::move(ends.second);
    if (baud != 0) {
      std::error_code problem;
      nk_linkUrl line;
      line.path = terminal.path;
      line.baud = baud;
      ends.first = harness::tDescriptor(nk_openSerialLine(line, problem));
      peer = std::move(terminal.master);
    }
    carrier.emplace(io, ends.first.release(), nk_carrier::tLimits{});
    carrier->start([] {});
  }
  // Reads at the far end until the carrier has made some progress.
  void takeSome() {
    auto const before = carrier->outgoing();
    char some[4096];
    EXPECT_TRUE(harness::becomes([&] {
      std::ignore = ::read(peer.get(), some, sizeof some);
      clock.settle();
      carrier->checkProgress();
      return carrier->outgoing() < before;
    }));
  }
  bool isOverAfter(std::chrono::milliseconds time) {
    clock.advance(time);
    carrier->checkProgress();
    return carrier->error() == std::errc::timed_out;
  }

  asio::io_context io{1};
  harness::tManualClock& clock = harness::tManualClock::install(io);
  harness::tTerminal terminal;
  harness::tDescriptor peer;
  std::optional<nk_carrier> carrier;
};

TEST(carrierTime, aPeerIsGoneOnlyIfItTakesNothingForAsLongAsItsBuffersExplain) {
  constexpr std::chrono::milliseconds moment{1};
  for (unsigned int const baud : {0u, 9600u, 38400u}) {
    auto const patience = moment * (10000 + (baud != 0 ? 4096 * 10 * 1000 / baud : 0));
    tTimed link(baud);
    std::vector<unsigned char> const bytes(4u << 20);
    int error = 0;
    EXPECT_FALSE(link.isOverAfter(std::chrono::hours(1))) << "idle";
    EXPECT_EQ(link.carrier->send(bytes.data(), 4u << 20, error), 4u << 20) << "never waits";
    EXPECT_TRUE(link.carrier->congested());
    EXPECT_FALSE(link.isOverAfter(patience)) << baud;
    link.takeSome();
    // A terminal's driver may go on taking bytes for a moment: then the time counts anew.
    EXPECT_TRUE(harness::becomes([&] {
      auto const waiting = link.carrier->outgoing();
      EXPECT_FALSE(link.isOverAfter(patience)) << baud;
      return waiting == link.carrier->outgoing() && link.isOverAfter(moment);
    })) << baud;
    EXPECT_EQ(link.carrier->send(bytes.data(), 1, error), 0u);
    EXPECT_EQ(error, ETIMEDOUT);
  }
}

TEST(carrierTime, tcpProbesASilentPeer) {
  asio::io_context io{1};
  for (int const idle : {30, 3, 0}) {
    harness::tDescriptor const seen(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    auto const option = [&](int name) {
      int value = 0;
      socklen_t size = sizeof value;
      ::getsockopt(seen.get(), IPPROTO_TCP, name, &value, &size);
      return value;
    };
    auto const usual = option(TCP_KEEPIDLE);
    nk_carrier::tLimits limits;
    limits.keepAlive = std::chrono::seconds(idle);
    nk_carrier const carrier(io, ::dup(seen.get()), limits);
    EXPECT_EQ(option(TCP_KEEPIDLE), idle != 0 ? idle : usual);
    EXPECT_EQ(option(TCP_USER_TIMEOUT), idle * 2000);
    EXPECT_TRUE(idle == 0 || option(TCP_KEEPINTVL) * option(TCP_KEEPCNT) == idle) << idle;
  }
}

TEST(carrierBounds, unreadBytesStayWithTheSystem) {
  asio::io_context io{1};
  auto [mine, peer] = harness::socketPair();
  nk_carrier lazy(io, mine.release(), {1000, 300, std::chrono::seconds(1)});
  unsigned int events = 0;
  lazy.start([&] { ++events; });
  harness::give(peer, std::string(5000, 'x'));
  EXPECT_TRUE(runUntil(io, [&] { return lazy.incoming() == 1000; }));
  while (io.poll() != 0) continue;
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
  forgotten.send(reinterpret_cast<unsigned char const*>(bytes.data()), 1u << 19, error);
  std::string seen;
  EXPECT_TRUE(harness::becomes([&] {
    char buffer[4096];
    auto const count = ::read(peer.get(), buffer, sizeof buffer);
    if (count > 0) seen.append(buffer, static_cast<unsigned int>(count));
    forgotten.checkProgress();
    return seen.size() >= bytes.size();
  }));
  EXPECT_TRUE(seen == bytes);
  ASSERT_EQ(::write(peer.get(), "back", 4), 4);
  EXPECT_TRUE(harness::becomes([&] {
    forgotten.checkProgress();
    return forgotten.incoming() == 4;
  }));
}

}  // namespace
