// A station against a panel that answers rightly, wrongly or not at all, on a clock of the input's.

#include <unistd.h>

#include <future>
#include <optional>
#include <string>

#include "fuzz.h"
#include "harness/hex.h"
#include "harness/manualClock.h"
#include "harness/wirePeer.h"
#include "link/stationCore.h"

namespace {

using fuzz::require;
using std::chrono::milliseconds;
using enum nk_station::teOutcome;
using tMoment = nk_clock::tMoment;

constexpr unsigned int broadcast = nk_basicTelegram::addressBroadcast;
constexpr unsigned int maxOpen = 6, maxBytes = 4000;

// Telegrams begin with the number of the call that they are of, answers with their own.
tBlob numbered(std::size_t number, unsigned int noise) {
  auto const value = static_cast<unsigned int>(number);
  tBlob content = harness::noise(sizeof value + noise);
  std::memcpy(content.data(), &value, sizeof value);
  return content;
}

std::size_t numberOf(tBlob const& content) {
  unsigned int value = 0xFFFFFFFF;
  if (content.size() >= sizeof value) std::memcpy(&value, content.data(), sizeof value);
  return value;
}

class tStory {
 public:
  explicit tStory(fuzz::tInput&) {
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0, "a socket pair");
    int const least = 1;
    ::setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    m_end = ends[1];
    m_peer.emplace(m_end);
    nk_station::tOptions options;
    options.maxOpen = maxOpen;
    options.maxBytes = maxBytes;
    nk_station::tCore::tOwned owned{ends[0]};
    m_core.emplace(m_io, owned, options);
  }
  ~tStory() { closeEnd(); }

  void goOn(fuzz::tInput& input) {
    auto const what = input.below(12);
    if (what < 3) return request(input);
    if (what == 3) m_peer->read(input.oneOf({100U, 3000U, 100000U}));
    if (what > 3 && what < 7) answer(input);
    if (what == 7) cancel(input);
    if (what == 8)
      m_clock.advance(input.oneOf({milliseconds(20), milliseconds(300), milliseconds(20000)}));
    if (what == 9) m_noisy = true, m_peer->send(input.bytes(input.below(60)));
    if (what == 10)
      m_finishes.push_back(
          {m_clock.now() + milliseconds(500), m_core->requestFinish(milliseconds(500))});
    if (what == 11) end(input.below(8));
    settle();
  }
  // Nothing may be left over when the station ends.
  void finish() {
    settle();
    for (unsigned int bytes = 1; bytes != m_peer->received;) {
      bytes = m_peer->received;
      m_peer->read();
      settle();
    }
    checkWire();
    shutDown();
    for (auto const& call : m_calls) require(call.done, "each request completes");
    m_clock.advance(std::chrono::hours(1));
  }

 private:
  struct tCall {
    nk_station::tTicket ticket;
    unsigned int destination, size, then;
    bool wantsAnswer, cancelled = false, done = false;
    nk_station::tTimeouts timeouts;
    tMoment accepted;
    nk_station::teOutcome outcome{};
    std::optional<std::size_t> answer{};
  };
  struct tAnswer {
    unsigned int id, source;
    bool forStation, used = false;
  };
  struct tFinish {
    tMoment deadline;
    std::future<void> done;
  };

  void request(fuzz::tInput& input) {
    auto const kind = input.number<unsigned char>();
    unsigned int const size =
        input.below(20) == 0 ? 0 : input.oneOf({4U, 14U, 1000U, 3000U, maxBytes, maxBytes + 1});
    auto const progress = nk_station::tTimeouts::ofProgress(milliseconds(300), milliseconds(400));
    nk_station::tTimeouts const limits[] = {{}, milliseconds(500), progress};
    bool const fits = !m_closed && m_open < maxOpen && m_unsent + size <= maxBytes;
    bool const accepted = make(size, kind % 8 == 7 ? broadcast : 2 + kind % 2, (kind & 16) == 0,
                               limits[kind / 32 % 3], input.below(8));
    require(accepted == fits, "what fits is accepted, nothing else");
    if (accepted) m_unsent += size;
    if (kind < 128) settle();
  }
  bool make(unsigned int size, unsigned int destination, bool wantsAnswer,
            nk_station::tTimeouts const& timeouts, unsigned int then) {
    auto const number = m_calls.size();
    tBlob content = size == 0 ? tBlob() : numbered(number, size - 4);
    auto const ticket = m_core->accept(
        std::move(content), destination, timeouts,
        [this, number](nk_station::tResult&& result) { completed(number, result); }, wantsAnswer);
    // NOLINTNEXTLINE(bugprone-use-after-move): what is not accepted is not taken
    require(content.size() == (ticket == nk_station::refused ? size : 0),
            "content is taken if accepted");
    if (ticket == nk_station::refused) return false;
    ++m_open;
    m_calls.push_back(
        {ticket, destination, size, then, wantsAnswer, false, false, timeouts, m_clock.now()});
    return true;
  }

  void completed(std::size_t number, nk_station::tResult const& result) {
    require(!m_closed, "nothing completes after the end");
    auto& call = m_calls[number];
    require(!call.done, "a request completes once");
    call.done = true;
    call.outcome = result.outcome;
    --m_open;
    if (result.outcome == OUTCOME_ANSWER) {
      checkAnswer(number, result);
    } else if (result.outcome == OUTCOME_SENT) {
      require(!call.wantsAnswer && call.size != 0, "only told requests are done when sent");
    } else {
      require(isTrue(call, result.reason), "the reason is true");
    }
    auto const then = call.then;  // making a request moves the calls
    if (then == 1) make(20, 2, true, milliseconds(100), 0);
    if (then == 2)
      m_core->requestCancel(m_calls[number / 2].ticket), m_calls[number / 2].cancelled = true;
    if (then == 3) m_ending = true, m_core->requestShutDown();
  }
  milliseconds age(tCall const& call) const {
    return std::chrono::floor<milliseconds>(m_clock.now() - call.accepted);
  }
  void checkAnswer(std::size_t number, nk_station::tResult const& result) {
    auto& call = m_calls[number];
    require(call.wantsAnswer, "only asked requests are answered");
    require(result.address == call.destination || call.destination == broadcast,
            "who was asked answers");
    if (m_noisy) return;  // noise may happen to be a frame
    auto const which = numberOf(result.content);
    require(which < m_answers.size(), "the answer was sent");
    auto& answer = m_answers[which];
    require(answer.forStation && answer.source == result.address, "it is for this station");
    require(!std::exchange(answer.used, true), "an answer completes one request");
    call.answer = which;
  }
  bool isTrue(tCall const& call, std::error_code reason) const {
    auto const& limits = call.timeouts;
    if (reason == std::errc::timed_out) {
      return age(call) >= std::min({limits.whole, limits.stall, limits.answer}) ||
             m_clock.now() - m_start > nk_station::tOptions().patience;
    }
    if (reason == std::errc::operation_canceled) return call.cancelled || m_ending;
    if (reason == std::errc::invalid_argument) return call.size == 0;
    if (reason == std::errc::bad_message) return m_noisy;
    if (reason == std::errc::not_connected && !m_finishes.empty()) return true;
    return m_peerEnded;
  }

  void answer(fuzz::tInput& input) {
    auto const kind = input.number<unsigned char>();
    if (m_peer->requests.empty()) return;
    auto const& request = m_peer->requests[input.below(255) % m_peer->requests.size()];
    unsigned int const source = (kind & 3) == 0 ? 7 : (kind & 3) == 1 ? 2 : request.destination;
    unsigned int const id = request.id + ((kind & 12) == 0 ? 1 : 0);
    unsigned int const station = (kind & 48) == 0 ? 9 : 1;
    m_answers.push_back({id, source, station == 1});
    auto frame =
        harness::tWirePeer::answer(id, source, station, numbered(m_answers.size() - 1, kind));
    if (kind >= 224) frame.data()[input.below(255) % frame.size()] ^= 0x40;
    m_peer->send(frame);
    if (kind % 32 == 31) m_peer->send(frame);
  }
  void cancel(fuzz::tInput& input) {
    auto const number = input.below(255);
    if (number < m_calls.size()) m_calls[number].cancelled = true;
    m_core->requestCancel(number < m_calls.size() ? m_calls[number].ticket : number * 1000);
  }
  void end(unsigned int how) {
    if (how == 0) return shutDown();
    m_peerEnded |= how < 4;
    if (how < 3) ::shutdown(m_end, SHUT_WR);
    if (how == 3) closeEnd();
  }
  void closeEnd() {
    if (!std::exchange(m_endClosed, true)) ::close(m_end);
  }
  void shutDown() {
    m_ending = true;
    m_core->requestShutDown();
    settle();
  }
  void settle() {
    m_clock.settle();
    m_unsent = 0;
    m_closed |= m_ending;
    for (auto const& call : m_calls) {
      bool const late = age(call) >= call.timeouts.whole;
      require(call.done || !(late || m_closed), "no request outlives its time or the station");
    }
    for (auto const& finish : m_finishes) {
      bool const due = m_closed || m_clock.now() >= finish.deadline;
      require(!due || finish.done.wait_for(milliseconds(0)) == std::future_status::ready,
              "no finish outlives its patience");
    }
  }
  // What has arrived agrees with what the station said.
  void checkWire() const {
    if (m_endClosed) return;
    std::vector<bool> seen(m_calls.size());
    for (auto const& request : m_peer->requests) {
      auto const number = numberOf(request.content);
      require(number < m_calls.size() && !seen[number], "what arrives was asked for, once");
      require(request.content.size() == m_calls[number].size, "requests arrive whole");
      seen[number] = true;
      auto const answer = m_calls[number].answer;
      require(!answer || m_answers[*answer].id == request.id, "answers go by their id");
    }
    for (std::size_t i = 0; i < m_calls.size(); ++i) {
      if (!m_calls[i].done) continue;
      require(m_calls[i].outcome != OUTCOME_SENT || seen[i], "what was sent arrives");
      require(m_calls[i].outcome != OUTCOME_NOT_SENT || !seen[i], "what was not sent does not");
    }
  }

  asio::io_context m_io{1};
  harness::tManualClock& m_clock = harness::tManualClock::install(m_io);
  tMoment const m_start = m_clock.now();
  int m_end = -1;
  std::optional<harness::tWirePeer> m_peer;
  std::optional<nk_station::tCore> m_core;
  std::vector<tCall> m_calls;
  std::vector<tAnswer> m_answers;
  std::vector<tFinish> m_finishes;
  unsigned int m_open = 0, m_unsent = 0;
  bool m_noisy = false, m_peerEnded = false, m_endClosed = false;
  bool m_ending = false, m_closed = false;  // the latter once all that follows from it has happened
};

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  return fuzz::tell<tStory>(data, size);
}
