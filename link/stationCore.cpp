#include "link/stationCore.h"

#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <limits>

#include "nkProtocol/telegramPart.h"

namespace {

// Requests are handed to the engine while fewer bytes than this wait to be sent.
constexpr unsigned int sendAhead = 1u << 20;
// So that the link never counts as congested: answers must be read while a large request goes out,
// as a panel that cannot send stops reading.
constexpr unsigned int carrierRoom = 1u << 30;
// The engine's timeouts follow the wall clock. They must never fire first, not even when the clock
// of a new device is set from 1970 to the present.
constexpr unsigned int engineTimeout_s = std::numeric_limits<unsigned int>::max();
constexpr std::chrono::hours longestTimeout{24 * 365 * 100};
std::error_code const linkEnded = std::make_error_code(std::errc::not_connected);

nk_carrier::tLimits limitsFor(nk_station::tOptions const& options) {
  nk_carrier::tLimits limits;
  limits.buffered = carrierRoom;
  limits.patience = options.patience;
  return limits;
}

nk_linkedEngine::tSetup setupFor(nk_station::tOptions const& options, void* context,
                                 nk_clock const& clock,
                                 void (*log)(void* context, char const* text)) {
  nk_linkedEngine::tSetup setup;
  setup.address = options.address;
  setup.context = context;
  setup.logOutput = options.logOutput != nullptr ? log : nullptr;
  setup.logContext = context;
  setup.logFcn = options.logFcn;
  setup.guard = options.guard ? *options.guard : nk_linkGuard::tOptions::all(options.address);
  setup.guard->now = [&clock] { return clock.now(); };
  setup.guard->checkAnswers = true;  // it also tells which id a request was given
  setup.guard->maxAsked = std::max(setup.guard->maxAsked, options.maxOpen);
  return setup;
}

nk_clock::tMoment momentAfter(nk_clock::tMoment start, nk_station::tDuration duration) {
  return start +
         std::clamp<nk_station::tDuration>(duration, nk_station::tDuration::zero(), longestTimeout);
}

nk_station::tResult resultOf(nk_station::teOutcome outcome, std::error_code reason) {
  return {outcome, nk_basicTelegram::addressNone, {}, reason};
}

/// Finds out whether the engine sent a request and which id it got. The engine reports neither.
class tSendWatch {
 public:
  explicit tSendWatch(nk_linkedEngine& link)
      : m_link(link), m_sent(link.carrier().sent()), m_asked(link.guard()->askedFrames()) {}
  bool wentOut() const { return m_link.carrier().sent() != m_sent; }
  /// The id that the request was given; none if no answer is wanted or the guard lacked memory.
  std::optional<unsigned int> id() const {
    if (m_link.guard()->askedFrames() == m_asked) return {};
    return m_link.guard()->lastAsked();
  }

 private:
  nk_linkedEngine& m_link;
  unsigned long long const m_sent;
  unsigned long long const m_asked;
};

}  // namespace

nk_station::tCore::tOwned::~tOwned() {
  if (descriptor >= 0) ::close(descriptor);
}

nk_station::tCore::tCore(asio::io_context& io, tOwned& descriptor, tOptions const& options)
    : tCore(io, descriptor, options, setupFor(options, this, nk_clock::of(io), logThrough)) {}

// The engine's log, without the answers that withdraw() makes up.
void nk_station::tCore::logThrough(void* context, char const* text) {
  auto const& self = *static_cast<tCore*>(context);
  if (!self.m_withdrawing) self.m_options.logOutput(self.m_options.logContext, text);
}

nk_station::tCore::tCore(asio::io_context& io, tOwned& descriptor, tOptions const& options,
                         nk_linkedEngine::tSetup const& setup)
    : m_options(options),
      m_io(io),
      m_clock(nk_clock::of(io)),
      m_link(io, descriptor.take(), limitsFor(options), setup),
      m_timer(io),
      m_work(io.get_executor()),
      m_lock(false) {
  m_link.start([this] { round(); });
}

void nk_station::tCore::run() {
  while (!m_over) m_io.run_one();
}

// The io_context may outlive this.
void nk_station::tCore::post(std::function<void()> handler) {
  asio::post(m_io, [alive = std::weak_ptr(m_alive), handler = std::move(handler)] {
    if (!alive.expired()) handler();
  });
}

nk_station::tTicket nk_station::tCore::accept(tBlob&& content, unsigned int destination,
                                              tTimeouts const& timeouts, tDone done,
                                              bool wantsAnswer) {
  auto const now = m_clock.now();
  tLockGuard guard(m_lock);
  if (m_closing || m_open >= m_options.maxOpen) return refused;
  unsigned int const bytes = content.size();
  if (bytes > m_options.maxBytes - m_bytes) return refused;
  m_accepted.push_back(
      {m_lastTicket + 1, {}, bytes, destination, timeouts, std::move(done), wantsAnswer, now, now});
  m_accepted.back().content.swap(content);
  ++m_open;
  m_bytes += bytes;
  if (!m_wakened) post([this] { round(); });
  m_wakened = true;
  return ++m_lastTicket;
}

void nk_station::tCore::requestShutDown() {
  post([this] { shutDown(); });
}

void nk_station::tCore::requestCancel(tTicket ticket) {
  post([this, ticket] {
    takeAccepted();
    giveUp({ticket}, OUTCOME_CANCELLED, std::make_error_code(std::errc::operation_canceled));
    round();
  });
}

std::future<void> nk_station::tCore::requestFinish(tDuration patience) {
  tFinish finish{momentAfter(m_clock.now(), patience), {}};
  auto future = finish.done.get_future();
  // Handlers are copied, promises cannot be.
  auto const shared = std::make_shared<tFinish>(std::move(finish));
  post([this, shared] {
    m_finish.push_back(std::move(*shared));
    round();
  });
  return future;
}

nk_linkGuard::tCounters nk_station::tCore::guardCounters() const {
  tLockGuard guard(m_lock);
  return m_counters;
}

nk_station::tTraffic nk_station::tCore::traffic() const {
  tLockGuard guard(m_lock);
  return m_traffic;
}

void nk_station::tCore::shutDown() {
  {
    tLockGuard guard(m_lock);
    m_closing = true;
  }
  takeAccepted();
  auto const reason = std::make_error_code(std::errc::operation_canceled);
  while (!m_requests.empty()) {
    auto const& [ticket, request] = *m_requests.begin();
    complete(ticket, resultOf(request.sent ? OUTCOME_CANCELLED : OUTCOME_NOT_SENT, reason));
  }
  for (auto& finish : m_finish) finish.done.set_value();
  m_finish.clear();
  m_over = true;
  runCompletions();
}

// Runs after every event. Requests made by completions wait for the next round, so not even a
// completion that always asks again starves the thread.
void nk_station::tCore::round() {
  takeAccepted();
  noteProgress();
  expire();
  checkLink();
  sendWaiting();
  noteProgress();
  checkLink();
  publish();
  runCompletions();
  checkFinish();
  arm();
}

void nk_station::tCore::publish() {
  auto const counters = m_link.guard()->counters();
  auto& carrier = m_link.carrier();
  tTraffic const traffic{carrier.sent(), carrier.outgoing(), carrier.unacknowledged(),
                         carrier.received(), over()};
  tLockGuard guard(m_lock);
  m_counters = counters;
  m_traffic = traffic;
}

void nk_station::tCore::takeAccepted() {
  std::deque<tRequest> accepted;
  {
    tLockGuard guard(m_lock);
    accepted.swap(m_accepted);
    m_wakened = false;
  }
  for (auto& request : accepted) {
    auto const ticket = request.ticket;
    m_waiting.push_back(ticket);
    setDeadline(m_requests.emplace(ticket, std::move(request)).first->second);
  }
}

void nk_station::tCore::sendWaiting() {
  auto const& carrier = m_link.carrier();
  while (!m_waiting.empty() && carrier.outgoing() < sendAhead && !carrier.error()) {
    auto const found = m_requests.find(m_waiting.front());
    m_waiting.pop_front();
    if (found == m_requests.end()) continue;
    if (m_toldEnd) {  // sending would break the link for those that still wait for their answer
      complete(found->first, resultOf(OUTCOME_NOT_SENT, linkEnded));
    } else {
      send(found->second);
    }
  }
}

void nk_station::tCore::send(tRequest& request) {
  auto const ticket = request.ticket;
  tSendWatch const watch(m_link);
  if (!request.content.empty()) {  // the engine makes no telegram of empty content
    request.inEngine = request.wantsAnswer;
    m_link.engine().enqueue_TS(&request.content, request.destination,
                               request.wantsAnswer ? answered : nullptr, engineTimeout_s, &request);
    request.content.release();
    m_link.pump();
  }
  // The pump may have brought the answer already, and `request` is gone then.
  if (!m_requests.contains(ticket)) return m_link.guard()->forget(m_link.guard()->lastAsked());
  if (watch.wentOut()) return noteSent(request, watch.id());
  request.inEngine = false;  // the engine drops what it cannot send
  auto const broken = m_link.carrier().error();
  auto const reason = broken ? broken : std::make_error_code(std::errc::invalid_argument);
  complete(ticket, resultOf(OUTCOME_NOT_SENT, reason));
}

void nk_station::tCore::noteSent(tRequest& request, std::optional<unsigned int> id) {
  request.sent = true;
  request.id = id;
  {
    tLockGuard guard(m_lock);
    m_bytes -= std::exchange(request.bytes, 0);
  }
  // On a broken link its end may have been cut off.
  auto const& carrier = m_link.carrier();
  if (!carrier.error()) m_leaving.emplace_back(request.ticket, carrier.sent());
}

void nk_station::tCore::answered(unsigned int address, tBlob* content, void* context, bool,
                                 void* userData) {
  auto& self = *static_cast<tCore*>(context);
  auto& request = *static_cast<tRequest*>(userData);
  request.inEngine = false;
  if (request.givenUp) return;
  tResult result{content != nullptr ? OUTCOME_ANSWER : OUTCOME_TIMEOUT, address, {}, {}};
  if (content != nullptr) result.content.swap(*content);
  if (content != nullptr && result.content.empty()) {
    // No engine sends empty content: this is what it makes of content that it cannot decompress.
    result.outcome = OUTCOME_DAMAGED;
    result.reason = std::make_error_code(std::errc::bad_message);
  }
  self.complete(request.ticket, std::move(result));
}

// Notes which bytes the system has taken: a request that wants no answer is done with its last one,
// for the others the time for the answer begins.
void nk_station::tCore::noteProgress() {
  auto const& carrier = m_link.carrier();
  auto const now = m_clock.now();
  if (std::exchange(m_gone, carrier.sent() - carrier.outgoing()) != m_gone) m_lastProgress = now;
  for (; !m_leaving.empty() && m_leaving.front().second <= m_gone; m_leaving.pop_front()) {
    auto const found = m_requests.find(m_leaving.front().first);
    if (found == m_requests.end()) continue;
    auto& request = found->second;
    if (!request.wantsAnswer) {
      complete(request.ticket, resultOf(OUTCOME_SENT, {}));
      continue;
    }
    request.taken = now;
    setDeadline(request);
  }
  auto const underWay = m_link.carrier().unacknowledged();
  auto const frames = m_link.guard()->answerFrames();
  if (std::exchange(m_underWay, underWay) != underWay) m_peerProgress = m_answerProgress = now;
  if (std::exchange(m_answerFrames, frames) != frames) m_answerProgress = now;
}

nk_station::tCore::tMoment nk_station::tCore::deadlineOf(tRequest const& request) const {
  auto const& limits = request.timeouts;
  auto const whole = momentAfter(request.accepted, limits.whole);
  if (!request.taken)
    return std::min(whole, momentAfter(std::max(request.accepted, m_lastProgress), limits.stall));
  auto const answer = momentAfter(std::max(*request.taken, m_answerProgress), limits.answer);
  auto const allOfIt = momentAfter(std::max(*request.taken, m_peerProgress), limits.wholeAnswer);
  return std::min({whole, answer, allOfIt});
}

void nk_station::tCore::setDeadline(tRequest& request) {
  m_deadlines.erase({request.deadline, request.ticket});
  request.deadline = deadlineOf(request);
  m_deadlines.emplace(request.deadline, request.ticket);
}

// Progress moves the deadlines of all requests that are not sent yet. They are looked at again only
// when they come up, or each byte would cost time for each request.
void nk_station::tCore::expire() {
  auto const now = m_clock.now();
  std::vector<tTicket> late;
  while (!m_deadlines.empty() && m_deadlines.begin()->first <= now) {
    auto const ticket = m_deadlines.begin()->second;
    auto& request = m_requests.at(ticket);
    setDeadline(request);
    if (request.deadline > now) continue;
    m_deadlines.erase({request.deadline, ticket});
    late.push_back(ticket);
  }
  giveUp(late, OUTCOME_TIMEOUT, std::make_error_code(std::errc::timed_out));
}

std::error_code nk_station::tCore::over() const {
  auto const& carrier = m_link.carrier();
  bool const ended = carrier.ended() && m_link.unhandled() == 0;
  return ended && !carrier.error() ? linkEnded : carrier.error();
}

void nk_station::tCore::checkLink() {
  auto const reason = over();
  if (!reason) return;
  bool const broken = bool(m_link.carrier().error());
  std::vector<tTicket> hopeless;
  for (auto const& [ticket, request] : m_requests)
    if (broken || request.wantsAnswer) hopeless.push_back(ticket);
  giveUp(hopeless, OUTCOME_CANCELLED, reason);
}

// Completes requests without an answer: with `outcome` if they were sent at least in part,
// otherwise as not sent. First makes the engine forget them, as it points to them.
void nk_station::tCore::giveUp(std::vector<tTicket> const& tickets, teOutcome outcome,
                               std::error_code reason) {
  bool withdrawn = false;
  for (auto const ticket : tickets) {
    auto const found = m_requests.find(ticket);
    if (found == m_requests.end() || !found->second.inEngine) continue;
    withdraw(found->second);
    withdrawn = true;
  }
  m_withdrawing = true;
  if (withdrawn) m_link.pump();
  m_withdrawing = false;
  for (auto const ticket : tickets) {
    auto const found = m_requests.find(ticket);
    if (found == m_requests.end()) continue;
    complete(ticket, resultOf(found->second.sent ? outcome : OUTCOME_NOT_SENT, reason));
  }
}

// The engine forgets a request only when it is answered, so feed it an empty answer. Without an id
// that is impossible: see m_lost.
void nk_station::tCore::withdraw(tRequest& request) {
  request.givenUp = true;
  if (!request.id) return;
  nk_telegramPart answer(*request.id, request.destination, m_options.address, 1, 0, true, nullptr,
                         nk_basicTelegram::TYPE_RESPONSE, nk_basicTelegram::COMPRESSION_NONE);
  tBlob frame;
  if (answer.serialize(&frame)) m_link.engine().pushData(frame.data(), frame.size());
}

void nk_station::tCore::complete(tTicket ticket, tResult result) {
  auto node = m_requests.extract(ticket);
  if (node.empty()) return;
  auto& request = node.mapped();
  m_deadlines.erase({request.deadline, ticket});
  if (request.id) m_link.guard()->forget(*request.id);
  m_completed.emplace_back(std::move(request.done), std::move(result));
  {
    tLockGuard guard(m_lock);
    --m_open;
    m_bytes -= request.bytes;
  }
  if (request.inEngine) m_lost.push_back(std::move(node));
}

void nk_station::tCore::runCompletions() {
  while (!m_completed.empty()) {
    auto [done, result] = std::move(m_completed.front());
    m_completed.pop_front();
    if (done) done(std::move(result));
  }
}

void nk_station::tCore::checkFinish() {
  if (m_finish.empty()) return;
  auto& carrier = m_link.carrier();
  if (!m_toldEnd && m_waiting.empty() && carrier.outgoing() == 0) {
    carrier.finishSending();
    m_toldEnd = true;
  }
  bool const over =
      m_over || carrier.error() || (m_toldEnd && (carrier.ended() || carrier.isSerial()));
  auto const now = m_clock.now();
  m_finish.remove_if([&](tFinish& finish) {
    if (!over && now < finish.deadline) return false;
    finish.done.set_value();
    return true;
  });
}

// Sets the timer to the next deadline.
void nk_station::tCore::arm() {
  auto next = tMoment::max();
  if (!m_deadlines.empty()) next = m_deadlines.begin()->first;
  for (auto const& finish : m_finish) next = std::min(next, finish.deadline);
  if (next == tMoment::max() || m_armed == next) return;
  m_armed = next;
  m_timer.at(next, [this] {
    m_armed.reset();
    round();
  });
}
