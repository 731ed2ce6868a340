#include "link/station.h"

#include <gtest/gtest.h>

#include <asio/post.hpp>
#include <atomic>
#include <map>
#include <optional>

#include "harness/clock.h"
#include "harness/hex.h"
#include "harness/system.h"
#include "link/linkedEngine.h"
#include "nkSupport/tCompression.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using tResult = nk_station::tResult;
using enum nk_station::teOutcome;

constexpr auto ample = harness::patience;
// Long enough for a request to be sent, on a loaded machine too.
constexpr milliseconds brief{500};

// A panel with address 2 on a thread of its own. Contents tell it what to do: it answers with them,
// but for those that begin with "-".
class tPanel {
 public:
  explicit tPanel(int descriptor) : m_thread([this] { m_io.run(); }) {
    asio::post(m_io, [this, descriptor] {
      nk_linkedEngine::tSetup setup;
      setup.address = 2;
      setup.receive = receive;
      setup.context = this;
      m_link.emplace(m_io, descriptor, nk_carrier::tLimits{}, setup);
      m_link->start([] {});
    });
  }
  ~tPanel() {
    m_work.reset();
    m_io.stop();
    m_thread.join();
  }
  std::atomic<unsigned int> requests = 0;

 private:
  static void receive(unsigned int, tBlob* content, void* context) {
    ++static_cast<tPanel*>(context)->requests;
    if (harness::text(*content).starts_with("-")) content->clear();
  }

  asio::io_context m_io{1};
  asio::executor_work_guard<asio::io_context::executor_type> m_work = asio::make_work_guard(m_io);
  std::optional<nk_linkedEngine> m_link;
  std::thread m_thread;
};

class stationCalls : public testing::Test {
 protected:
  nk_station& open(nk_station::tOptions const& options = {}) {
    auto [mine, other] = harness::socketPair();
    peer = std::move(other);
    station = std::make_unique<nk_station>(mine.release(), options);
    return *station;
  }
  void startPanel() { panel = std::make_unique<tPanel>(peer.release()); }
  // Asks, and counts the completions of each ticket.
  nk_station::tTicket ask(std::string const& content, milliseconds timeout = ample) {
    auto const number = asked++;
    return station->ask(harness::bytes(content), 2, timeout, [this, number](tResult&& result) {
      ++completions[number];
      ++outcomes[result.outcome];
    });
  }
  void expectEachOnce(unsigned int accepted) {
    EXPECT_EQ(completions.size(), accepted);
    for (auto const& [number, count] : completions) EXPECT_EQ(count, 1u) << number;
  }

  std::optional<harness::tFakeClock> clock;  // must outlive the threads that read it
  harness::tDescriptor peer;
  std::unique_ptr<tPanel> panel;
  std::unique_ptr<nk_station> station;
  unsigned int asked = 0;
  std::map<unsigned int, unsigned int> completions;  // of the polling thread, until it has ended
  std::map<nk_station::teOutcome, unsigned int> outcomes;
};

TEST_F(stationCalls, everyThreadGetsItsOwnAnswers) {
  nk_station::tOptions options;
  options.maxOpen = 4000;
  auto& line = open(options);
  startPanel();
  std::atomic<unsigned int> right = 0;
  std::vector<std::thread> threads;
  for (unsigned int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      std::vector<std::pair<std::string, std::future<tResult>>> calls;
      for (unsigned int call = 0; call < 200; ++call) {
        auto const text = harness::randomBytes(1 + call * 10, thread * 1000 + call);
        calls.emplace_back("+" + text, line.ask(harness::bytes("+" + text), 2, ample));
      }
      for (auto& [text, call] : calls) {
        auto const result = call.get();
        right += result.outcome == OUTCOME_ANSWER && result.address == 2 &&
                 harness::text(result.content) == text;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(right, 800u);
  EXPECT_EQ(line.guardCounters().delivered, 800u);
}

// Each row makes a request and lets something happen to it.
TEST_F(stationCalls, everyRequestHasItsOutcome) {
  using tCall = std::future<tResult>;
  auto const silent = [](nk_station& line, milliseconds timeout) {
    return line.ask(harness::bytes("?"), 2, timeout);
  };
  auto const sentAndSilent = [&](nk_station& line, nk_station::tDuration timeout) {
    auto call = line.ask(harness::bytes("?"), 2, timeout);
    char byte;
    EXPECT_TRUE(harness::becomes([&] { return ::recv(peer.get(), &byte, 1, 0) == 1; }));
    return call;
  };
  struct {
    char const* what;
    std::function<tCall(nk_station&)> act;
    nk_station::teOutcome outcome;
    std::errc reason;
    milliseconds patience{10000};
  } const rows[] = {
      {"silence", [&](nk_station& line) { return silent(line, brief); }, OUTCOME_TIMEOUT,
       std::errc::timed_out},
      {"no time", [&](nk_station& line) { return silent(line, milliseconds(-1)); },
       OUTCOME_NOT_SENT, std::errc::timed_out},
      {"nothing to send", [](nk_station& line) { return line.ask(tBlob(), 2, ample); },
       OUTCOME_NOT_SENT, std::errc::invalid_argument},
      {"peer ends",
       [&](nk_station& line) {
         auto call = sentAndSilent(line, nk_station::tDuration::max());
         ::shutdown(peer.get(), SHUT_WR);
         return call;
       },
       OUTCOME_CANCELLED, std::errc::not_connected},
      {"ended before",
       [&](nk_station& line) {
         ::shutdown(peer.get(), SHUT_WR);
         silent(line, ample).wait();
         return silent(line, ample);
       },
       OUTCOME_NOT_SENT, std::errc::not_connected},
      {"peer takes nothing",
       [](nk_station& line) { return line.ask(harness::noise(4000000), 2, ample); },
       OUTCOME_CANCELLED, std::errc::timed_out, milliseconds(200)},
      {"told",
       [](nk_station& line) { return line.tell(harness::bytes("!"), 2, ample); },
       OUTCOME_SENT,
       {}},
      {"told in part",
       [](nk_station& line) { return line.tell(harness::noise(4000000), 2, brief); },
       OUTCOME_TIMEOUT, std::errc::timed_out},
      {"cancelled while waiting",
       [](nk_station& line) {
         line.tell(harness::noise(4000000), 2, ample, {});
         auto promise = std::make_shared<std::promise<tResult>>();
         line.cancel(line.ask(harness::bytes("?"), 2, ample, [promise](tResult&& result) {
           promise->set_value(std::move(result));
         }));
         return promise->get_future();
       },
       OUTCOME_NOT_SENT, std::errc::operation_canceled},
      {"destroyed",
       [&](nk_station& line) {
         auto call = sentAndSilent(line, ample);
         station.reset();
         return call;
       },
       OUTCOME_CANCELLED, std::errc::operation_canceled},
  };
  for (auto const& row : rows) {
    nk_station::tOptions options;
    options.patience = row.patience;
    auto const result = row.act(open(options)).get();
    EXPECT_EQ(result.outcome, row.outcome) << row.what;
    EXPECT_EQ(result.reason, row.reason) << row.what << ": " << result.reason.message();
    EXPECT_TRUE(result.content.empty());
  }
}

TEST_F(stationCalls, refusesWhatIsTooMuchAndLeavesTheContent) {
  nk_station::tOptions options;
  options.maxOpen = 2;
  options.maxBytes = 5000000;
  auto& line = open(options);
  auto large = harness::noise(4000000);
  EXPECT_NE(line.ask(std::move(large), 2, ample, {}), nk_station::refused);
  EXPECT_TRUE(large.empty());
  tBlob tooLarge = harness::noise(5000001);
  EXPECT_EQ(line.ask(std::move(tooLarge), 2, ample, {}), nk_station::refused);
  EXPECT_EQ(tooLarge.size(), 5000001u);
  auto const second = ask("-");
  EXPECT_NE(second, nk_station::refused);
  EXPECT_EQ(ask("-"), nk_station::refused);
  EXPECT_FALSE(line.tell(harness::bytes("-"), 2, ample).valid());
  // A request that completes makes room.
  line.cancel(second);
  EXPECT_TRUE(harness::becomes([&] { return ask("-") != nk_station::refused; }));
  station.reset();
  expectEachOnce(2);
}

TEST_F(stationCalls, completionsMayAskAndCancelAgain) {
  auto& line = open();
  startPanel();
  std::promise<unsigned int> finished;
  unsigned int count = 0;
  std::function<void(tResult &&)> const next = [&](tResult&& result) {
    EXPECT_EQ(result.outcome, OUTCOME_ANSWER);
    line.cancel(line.ask(harness::bytes("-"), 2, ample, [&](tResult&& other) {
      EXPECT_NE(other.outcome, OUTCOME_ANSWER);
      if (++count == 50) return finished.set_value(count);
      line.ask(harness::bytes("+"), 2, ample, next);
    }));
    line.finish(ample);  // does nothing here, above all does not wait for itself
  };
  line.ask(harness::bytes("+"), 2, ample, next);
  auto future = finished.get_future();
  ASSERT_EQ(future.wait_for(ample), std::future_status::ready);
}

TEST_F(stationCalls, destroyedFromItsOwnCompletionItCompletesAllOthersFirst) {
  open();
  startPanel();
  std::promise<unsigned int> finished;
  for (unsigned int i = 0; i < 100; ++i) ask("-");
  auto const before = asked;
  station->ask(harness::bytes("+"), 2, ample, [&](tResult&&) {
    for (unsigned int i = 0; i < 100; ++i) ask("-");
    std::exchange(station, nullptr).reset();
    finished.set_value(static_cast<unsigned int>(completions.size()));
  });
  EXPECT_EQ(finished.get_future().get(), before + 100);
  expectEachOnce(200);
}

TEST_F(stationCalls, askingAgainForEverKeepsNobodyFromEndingIt) {
  auto& line = open();
  peer.close();
  std::atomic<unsigned int> accepted = 1, completed = 0;
  std::function<void(tResult &&)> const again = [&](tResult&& result) {
    EXPECT_NE(result.outcome, OUTCOME_ANSWER);
    ++completed;
    accepted += line.ask(harness::bytes("+"), 2, ample, again) != nk_station::refused;
  };
  line.ask(harness::bytes("+"), 2, ample, again);
  EXPECT_TRUE(harness::becomes([&] { return completed > 100; }));
  station.reset();
  EXPECT_EQ(completed, accepted);
}

// Threads ask as fast as they can while the station is destroyed under way, from within or without.
TEST_F(stationCalls, noCompletionIsLostOrDoubledAtTheEnd) {
  for (unsigned int round = 0; round < 20; ++round) {
    auto [mine, other] = harness::socketPair();
    tPanel device(other.release());
    std::atomic<unsigned int> accepted = 0, completed = 0, threadsDone = 0;
    std::promise<void> gone;
    auto* const line = new nk_station(mine.release(), {});
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 2; ++thread) {
      threads.emplace_back([&, thread] {
        for (unsigned int call = 0; call < 50 + round * 10; ++call) {
          auto const ticket = line->ask(harness::bytes(call % 3 == thread ? "-" : "+"), 2, ample,
                                        [&](tResult&&) { ++completed; });
          accepted += ticket != nk_station::refused;
          if (call % 5 == 0) line->cancel(ticket);
        }
        ++threadsDone;
      });
    }
    for (auto& thread : threads) thread.join();
    if (round % 2 == 0) {
      delete line;
    } else {
      ++accepted;
      EXPECT_TRUE(harness::becomes([&] {
        return line->ask(harness::bytes("+"), 2, ample, [&](tResult&&) {
          delete line;
          ++completed;
          gone.set_value();
        }) != nk_station::refused;
      }));
      gone.get_future().wait();
    }
    EXPECT_EQ(completed, accepted);
  }
}

// What is sent may be larger than what this side would take.
TEST_F(stationCalls, aLargeRequestGivenUpLeavesTheOthersAlone) {
  struct tCeiling {
    tCeiling() { tCompression::setMaxDecodedSize(1000); }
    ~tCeiling() { tCompression::setMaxDecodedSize(64 << 20); }
  } const ceiling;
  open();
  startPanel();
  ask("-small");
  ask("-" + harness::randomBytes(5000, 1), milliseconds(50));
  auto const last = station->ask(harness::bytes("-last"), 2, brief);
  last.wait();
  station.reset();
  expectEachOnce(2);
  EXPECT_EQ(outcomes[nk_station::OUTCOME_TIMEOUT], 1u);
  EXPECT_EQ(outcomes[nk_station::OUTCOME_CANCELLED], 1u);
}

TEST_F(stationCalls, aStepOfTheWallClockChangesNothing) {
  clock.emplace(0);
  auto& line = open();
  startPanel();
  auto waiting = line.ask(harness::bytes("-"), 2, brief);
  EXPECT_TRUE(harness::becomes([&] { return panel->requests == 1; }));
  for (long long const step : {1800000000LL, -1700000000LL}) {
    clock->advance(step);
    auto call = line.ask(harness::bytes("+"), 2, ample);
    EXPECT_EQ(call.get().outcome, OUTCOME_ANSWER);
  }
  EXPECT_EQ(waiting.get().outcome, OUTCOME_TIMEOUT);
}

TEST_F(stationCalls, finishSendsTheRestAndWaitsForThePeer) {
  auto& line = open();
  auto told = line.tell(harness::noise(4000000), 2, ample);
  std::atomic<bool> finishing = false, ended = false;
  ssize_t all = 0;
  std::thread reader([&] {
    char buffer[65536];
    EXPECT_TRUE(harness::becomes([&] { return finishing && line.traffic().waiting != 0; }));
    EXPECT_TRUE(harness::becomes([&] {
      auto const count = ::recv(peer.get(), buffer, sizeof buffer, 0);
      all += std::max<ssize_t>(count, 0);
      return count == 0;
    }));
    ended = true;
    ::shutdown(peer.get(), SHUT_WR);
  });
  finishing = true;
  line.finish(ample);
  EXPECT_TRUE(ended);
  EXPECT_GT(all, 4000000);
  EXPECT_EQ(told.get().outcome, OUTCOME_SENT);
  reader.join();
}

}  // namespace
