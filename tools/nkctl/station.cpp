#include "tools/nkctl/station.h"

#include <algorithm>
#include <random>
#include <string>

#include "link/dialer.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

// How long a peer may take to end its side after everything was sent.
constexpr seconds closeTime{1};

void sayLog(void*, char const* text) { nk_tools::say(text); }

}  // namespace

tStation::tStation(tOptions const& options) : m_options(options) {
  nk_protocol::u32TlgNumber = std::random_device()();
}

nk_tools::teExit tStation::ask(tBlob& content, tBlob& answer) {
  m_answered = m_timedOut = false;
  if (auto const status = submit(content, answered)) return status;
  auto const status = waitFor([this] { return m_answered; }, "no answer in time");
  m_unconfirmed = false;
  answer.swap(m_answer);
  return status;
}

nk_tools::teExit tStation::tell(tBlob& content, tReport const& report) {
  if (auto const status = submit(content, nullptr)) return status;
  auto const& carrier = m_link->carrier();
  auto const all = carrier.sent() - m_sentBefore;
  auto const done = [&] {
    if (report) report(all - std::min<unsigned long long>(all, carrier.outgoing()), all);
    return carrier.outgoing() == 0 && !carrier.error();
  };
  return waitFor(done, "the request did not go out in time");
}

nk_tools::teExit tStation::pause(std::chrono::milliseconds time) {
  auto const end = steady_clock::now() + time;
  while (steady_clock::now() < end) {
    if (auto const status = checkLink("the peer closed the link")) return status;
    m_io.run_one_until(end);
  }
  return nk_tools::STATUS_OK;
}

void tStation::close() {
  if (!m_link || !m_unconfirmed) return;
  auto& carrier = m_link->carrier();
  carrier.finishSending();
  // Bytes that come for a closed socket make the system drop what is still under way to the peer.
  auto const deadline = std::min(m_deadline, steady_clock::now() + closeTime);
  while (!carrier.isSerial() && !carrier.ended() && !carrier.error()) {
    if (m_io.run_one_until(deadline) == 0) break;
  }
}

nk_tools::teExit tStation::submit(tBlob& content, nk_responseCallback callback) {
  if (auto const status = checkOptions()) return status;
  if (auto const status = connect()) return status;
  m_deadline = steady_clock::now() + m_options.timeout;
  m_unconfirmed = true;
  m_sentBefore = m_link->carrier().sent();
  // The engine's time-out follows the wall clock, which can be set: it only has to come later.
  auto const engineTimeout = std::chrono::ceil<seconds>(m_options.timeout).count() + 1;
  m_link->engine().enqueue_TS(&content, m_options.to, callback,
                              static_cast<unsigned int>(engineTimeout), this);
  m_link->pump();
  if (m_link->carrier().sent() != m_sentBefore || m_link->carrier().error())
    return nk_tools::STATUS_OK;
  nk_tools::say("the request could not be sent");
  return nk_tools::STATUS_PROTOCOL;
}

nk_tools::teExit tStation::checkOptions() const {
  bool const complete = m_options.link && m_options.to != nk_basicTelegram::addressNone;
  if (complete) return nk_tools::STATUS_OK;
  nk_tools::say(m_options.link ? "--to is required" : "--link is required");
  return nk_tools::STATUS_USAGE;
}

nk_tools::teExit tStation::connect() {
  if (m_link) return nk_tools::STATUS_OK;
  bool gaveUp = false;
  auto const opened = [this](int descriptor) {
    nk_carrier::tLimits limits;
    limits.patience = m_options.timeout;
    limits.buffered = 1u << 29;  // any request at once, so that the deadline alone decides
    nk_linkedEngine::tSetup setup;
    setup.address = m_options.from;
    if (m_options.verbose) setup.logOutput = sayLog;
    m_link = std::make_unique<nk_linkedEngine>(m_io, descriptor, limits, setup);
    m_link->start([] {});
  };
  auto const failed = [&](std::error_code reason) {
    if (m_options.verbose) nk_tools::say(reason.message() + "; trying again");
  };
  auto const giveUp = [&](std::error_code reason) {
    nk_tools::say("cannot open " + m_options.link->text() + ": " + reason.message());
    gaveUp = true;
  };
  nk_dialer::tPlan plan;
  plan.giveUp = m_options.connectTimeout;
  nk_dialer dialer(m_io, *m_options.link, plan, {opened, failed, giveUp});
  dialer.dial();
  while (!m_link && !gaveUp) m_io.run_one();
  return gaveUp ? nk_tools::STATUS_LINK : nk_tools::STATUS_OK;
}

nk_tools::teExit tStation::checkLink(char const* closedText) const {
  auto const error = m_link->carrier().error();
  if (!m_link->finished() && !error) return nk_tools::STATUS_OK;
  nk_tools::say(error ? "the link broke: " + error.message() : closedText);
  return nk_tools::STATUS_PROTOCOL;
}

nk_tools::teExit tStation::waitFor(std::function<bool()> const& done, char const* timeoutText) {
  while (!done()) {
    auto const error = m_link->carrier().error();
    bool const late =
        m_timedOut || steady_clock::now() >= m_deadline || error == std::errc::timed_out;
    if (late) {
      nk_tools::say(timeoutText);
      return nk_tools::STATUS_TIMEOUT;
    }
    if (auto const status = checkLink("the peer closed the link before it answered")) return status;
    m_io.run_one_until(m_deadline);
  }
  return nk_tools::STATUS_OK;
}

void tStation::answered(unsigned int, tBlob* content, void*, bool timedOut, void* userData) {
  auto& self = *static_cast<tStation*>(userData);
  self.m_timedOut = timedOut;
  if (content == nullptr) return;
  self.m_answer = *content;
  self.m_answered = true;
}
