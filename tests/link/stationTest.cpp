#include "link/station.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/manualClock.h"
#include "harness/system.h"
#include "harness/wirePeer.h"
#include "link/stationCore.h"

namespace {

using std::chrono::milliseconds;
using tResult = nk_station::tResult;
using tTimeouts = nk_station::tTimeouts;
using enum nk_station::teOutcome;

constexpr auto ample = harness::patience;
constexpr milliseconds step{50};

// A station without its thread, and its panel with address 2, on a clock that the test moves.
class stationCalls : public testing::Test {
 protected:
  void open(nk_station::tOptions const& options = {}) {
    core.reset();
    calls.clear();
    auto [mine, other] = harness::socketPair();
    end = std::move(other);
    peer.emplace(end.get());
    nk_station::tCore::tOwned owned{mine.release()};
    core.emplace(io, owned, options);
  }
  // The number of the call, or nothing if it was refused.
  std::optional<std::size_t> call(tBlob&& content, tTimeouts const& timeouts = ample,
                                  bool wantsAnswer = true) {
    auto const number = calls.size();
    auto const ticket = core->accept(
        std::move(content), 2, timeouts,
        [this, number](tResult&& result) {
          EXPECT_FALSE(calls[number].result) << "completed twice";
          calls[number].result = std::move(result);
        },
        wantsAnswer);
    if (ticket == nk_station::refused) return {};
    calls.push_back({ticket, {}});
    clock.settle();
    return number;
  }
  bool done(std::size_t number) const { return calls[number].result.has_value(); }
  void answer(std::size_t request, unsigned int source = 2, std::string_view content = "!") {
    peer->send(peer->answer(peer->requests.at(request).id, source, 1, harness::bytes(content)));
    clock.settle();
  }
  void expectEnd(std::size_t number, nk_station::teOutcome outcome, std::errc reason = {}) {
    ASSERT_TRUE(done(number));
    auto const& result = *calls[number].result;
    EXPECT_EQ(result.outcome, outcome);
    EXPECT_EQ(result.reason, reason) << result.reason.message();
    EXPECT_EQ(result.content.empty(), outcome != OUTCOME_ANSWER);
  }

  struct tCall {
    nk_station::tTicket ticket;
    std::optional<tResult> result;
  };
  asio::io_context io{1};
  harness::tManualClock& clock = harness::tManualClock::install(io);
  harness::tDescriptor end;
  std::optional<harness::tWirePeer> peer;
  std::optional<nk_station::tCore> core;
  std::vector<tCall> calls;
};

// What the system of the peer takes unread is far less than a large request.
constexpr unsigned int large = 2000000;

TEST_F(stationCalls, deadlines) {
  using tMs = milliseconds;
  constexpr tMs never{1000000};
  auto const slow = tTimeouts::ofProgress(tMs(200), tMs(400));
  auto const quick = tTimeouts::ofProgress(step, 2 * step);
  auto bounded = slow;
  bounded.wholeAnswer = tMs(500);
  struct {
    char const* what;
    tTimeouts timeouts;
    unsigned int before, size;  // bytes of a request without limits that is sent first; of this one
    unsigned int perStep;       // bytes that the panel reads
    tMs answer;                 // when it answers, counted from the last byte
    nk_station::teOutcome outcome;
    tMs least, most;     // until it completes
    bool parts = false;  // of an answer without end come meanwhile
  } const rows[] = {
      {"whole", tMs(500), 0, 1, 9999, never, OUTCOME_TIMEOUT, tMs(500), tMs(500)},
      {"in time", tMs(500), 0, 1, 9999, tMs(450), OUTCOME_ANSWER, tMs(500), tMs(500)},
      {"no time", tMs(-1), 0, 1, 9999, never, OUTCOME_NOT_SENT, tMs(0), tMs(0)},
      {"moving", tMs(200), 0, large, 250000, never, OUTCOME_TIMEOUT, tMs(200), tMs(200)},
      {"answer", slow, 0, 1, 9999, never, OUTCOME_TIMEOUT, tMs(400), tMs(500)},
      {"endless answer", bounded, 0, 1, 9999, never, OUTCOME_TIMEOUT, tMs(500), tMs(550), true},
      {"stall", slow, 0, large, 0, never, OUTCOME_TIMEOUT, tMs(200), tMs(200)},
      {"stall before", slow, large, 1, 0, never, OUTCOME_NOT_SENT, tMs(200), tMs(200)},
      {"progress", quick, 0, large, 250000, step, OUTCOME_ANSWER, tMs(400), never},
      {"progress before", quick, large, 1, 250000, step, OUTCOME_ANSWER, tMs(400), never},
      {"late answer", quick, 0, large, 250000, never, OUTCOME_TIMEOUT, tMs(400), tMs(2000)},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.what);
    open();
    if (row.before != 0) call(harness::noise(row.before), never, false);
    auto const number = *call(harness::noise(row.size), row.timeouts);
    clock.settle();
    milliseconds now{0}, lastByte{0};
    for (; !done(number) && now < never; now += step, clock.advance(step)) {
      auto const before = peer->received;
      peer->read(row.perStep);
      if (peer->received != before) lastByte = now;
      if (now - lastByte == row.answer) answer(number);
      auto const part = static_cast<unsigned int>(2 + now / step);
      if (row.parts)
        peer->send(peer->answer(peer->requests.at(0).id, 2, 1, harness::bytes("!"), part, false));
    }
    expectEnd(number, row.outcome,
              row.outcome == OUTCOME_ANSWER ? std::errc{} : std::errc::timed_out);
    EXPECT_GE(now, row.least);
    EXPECT_LE(now, row.most);
  }
}

// However a request ends, its share of both limits is free again.
TEST_F(stationCalls, limits) {
  nk_station::tOptions options;
  options.maxOpen = 2;
  options.maxBytes = large;
  options.guard = nk_linkGuard::tOptions::all(1);
  options.guard->maxAsked = 1;  // open requests are remembered nevertheless
  auto const answerBoth = [&] {
    for (int i = 0; i < 100; ++i, clock.settle()) peer->read();
    answer(0);
    answer(1);
    expectEnd(0, OUTCOME_ANSWER);
  };
  auto const timeOut = [&] { clock.advance(ample); };
  auto const cancel = [&] { core->requestCancel(calls[1].ticket); };
  auto const endLink = [&] { ::shutdown(end.get(), SHUT_WR); };
  struct {
    char const* what;
    bool sent;  // or still waiting behind another request
    std::function<void()> act;
    nk_station::teOutcome outcome;
    std::errc reason;
  } const rows[] = {
      {"answered", true, answerBoth, OUTCOME_ANSWER, {}},
      {"timed out", true, timeOut, OUTCOME_TIMEOUT, std::errc::timed_out},
      {"timed out unsent", false, timeOut, OUTCOME_NOT_SENT, std::errc::timed_out},
      {"cancelled", true, cancel, OUTCOME_CANCELLED, std::errc::operation_canceled},
      {"cancelled unsent", false, cancel, OUTCOME_NOT_SENT, std::errc::operation_canceled},
      {"link ended", true, endLink, OUTCOME_CANCELLED, std::errc::not_connected},
      {"link ended unsent", false, endLink, OUTCOME_NOT_SENT, std::errc::not_connected},
      {"link broken unsent", false, [&] { end.close(); }, OUTCOME_NOT_SENT, std::errc::broken_pipe},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.what);
    open(options);
    call(harness::noise(row.sent ? 1 : large), 2 * ample, row.sent);
    auto content = harness::noise(large + 1);
    EXPECT_FALSE(call(std::move(content))) << "too many bytes";
    EXPECT_EQ(content.size(), large + 1);
    content.truncate(large);
    ASSERT_TRUE(call(std::move(content)));
    EXPECT_FALSE(call(harness::bytes("-"))) << "too many requests";
    row.act();
    clock.settle();
    expectEnd(1, row.outcome, row.reason);
    EXPECT_TRUE(call(harness::noise(large)));
  }
}

TEST_F(stationCalls, outcomesBesides) {
  open();
  call(tBlob());
  expectEnd(0, OUTCOME_NOT_SENT, std::errc::invalid_argument);
  call(harness::bytes("!"), ample, false);
  expectEnd(1, OUTCOME_SENT);
  call(harness::bytes("?"));
  peer->read();
  answer(1, 3);  // not the one who was asked
  EXPECT_FALSE(done(2));
  call(harness::bytes("?"));
  peer->read();
  answer(2, 2, "");
  expectEnd(3, OUTCOME_DAMAGED, std::errc::bad_message);
  call(harness::noise(large), ample, false);
  call(harness::bytes("unsent"));
  core->requestShutDown();
  core->run();
  expectEnd(2, OUTCOME_CANCELLED, std::errc::operation_canceled);
  expectEnd(4, OUTCOME_CANCELLED, std::errc::operation_canceled);
  expectEnd(5, OUTCOME_NOT_SENT, std::errc::operation_canceled);
  EXPECT_FALSE(call(harness::bytes("?")));
}

TEST_F(stationCalls, finishSendsTheRestAndWaitsForThePeerOrItsPatience) {
  for (bool const patient : {true, false}) {
    open();
    auto const told = *call(harness::noise(large), ample, false);
    auto const finished = core->requestFinish(patient ? ample : step);
    auto const isFinished = [&] {
      return finished.wait_for(milliseconds(0)) == std::future_status::ready;
    };
    clock.settle();
    EXPECT_FALSE(done(told) || isFinished());
    for (int i = 0; i < 100; ++i, clock.settle()) peer->read();
    expectEnd(told, OUTCOME_SENT);
    EXPECT_TRUE(peer->ended);
    EXPECT_FALSE(isFinished());
    patient ? end.close() : clock.advance(step);
    clock.settle();
    EXPECT_TRUE(isFinished());
  }
}

TEST_F(stationCalls, aStepOfTheWallClockChangesNothing) {
  harness::tFakeClock wallClock(0);
  open();
  call(harness::bytes("?"));
  for (long long const seconds : {1800000000LL, -1700000000LL}) {
    wallClock.advance(seconds);
    clock.advance(step);
  }
  peer->read();
  answer(0);
  expectEnd(0, OUTCOME_ANSWER);
}

TEST_F(stationCalls, askingAgainForEverKeepsNobodyFromEndingIt) {
  open();
  end.close();
  unsigned int accepted = 0, completed = 0;
  std::function<void(tResult &&)> again = [&](tResult&&) {
    ++completed;
    accepted += core->accept(harness::bytes("?"), 2, ample, again, true) != nk_station::refused;
  };
  again({});
  while (completed < 100) io.run_one();
  core->requestShutDown();
  core->run();
  EXPECT_EQ(completed, accepted + 1);
}

// A panel on a thread of its own that answers with what it is asked, but not what begins with "-".
class tPanel {
 public:
  explicit tPanel(int descriptor)
      : m_thread([this, descriptor] {
          nk_linkedEngine::tSetup setup;
          setup.address = 2;
          setup.receive = [](unsigned int, tBlob* content, void*) {
            if (harness::text(*content).starts_with("-")) content->clear();
          };
          nk_linkedEngine link(m_io, descriptor, {}, setup);
          link.start([] {});
          m_io.run();
        }) {}
  ~tPanel() {
    m_io.stop();
    m_thread.join();
  }

 private:
  asio::io_context m_io{1};
  std::thread m_thread;
};

// Threads ask and cancel; then the station is destroyed, from elsewhere or from a completion.
TEST(station, noCompletionIsLostDoubledOrMixedUp) {
  for (unsigned int round = 0; round < 20; ++round) {
    auto [mine, other] = harness::socketPair();
    tPanel const panel(other.release());
    std::atomic<unsigned int> accepted = 0, completed = 0;
    auto* const line = new nk_station(mine.release(), {});
    auto const ask = [&](std::string const& text) {
      auto const done = [&completed, text](tResult&& result) {
        ++completed;
        EXPECT_TRUE(result.outcome != OUTCOME_ANSWER || harness::text(result.content) == text);
      };
      auto const ticket = line->ask(harness::bytes(text), 2, ample, done);
      accepted += ticket != nk_station::refused;
      return ticket;
    };
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 2; ++thread) {
      threads.emplace_back([&, thread] {
        for (unsigned int call = 0; call < 50 + round * 10; ++call) {
          auto const text = harness::randomBytes(call * 10, thread * 1000 + call);
          auto const ticket = ask((call % 3 == thread ? "-" : "+") + text);
          if (call % 5 == 0) line->cancel(ticket);
        }
        EXPECT_EQ(line->tell(harness::bytes("-"), 2, ample).get().outcome, OUTCOME_SENT);
        EXPECT_EQ(line->ask(harness::bytes("+"), 2, ample).get().outcome, OUTCOME_ANSWER);
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_GE(line->guardCounters().delivered, 2u);
    if (round % 2 == 0) {
      line->finish(milliseconds(0));
      delete line;
    } else {
      std::promise<void> gone;
      auto const destroy = [&](tResult&&) {
        line->finish(ample);  // does nothing here, above all it does not wait for itself
        ask("-");
        delete line;
        gone.set_value();
      };
      EXPECT_TRUE(harness::becomes([&] {
        return line->ask(harness::bytes("+"), 2, ample, destroy) != nk_station::refused;
      }));
      gone.get_future().wait();
    }
    EXPECT_EQ(completed, accepted);
  }
}

}  // namespace
