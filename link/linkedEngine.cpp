#include "link/linkedEngine.h"

namespace {

constexpr std::chrono::milliseconds tickTime{100};
// How much the guard is given at once.
constexpr unsigned int readSize = 32768;

}  // namespace

nk_linkedEngine::nk_linkedEngine(asio::io_context& io, int descriptor,
                                 nk_carrier::tLimits const& limits, tSetup const& setup)
    : m_carrier(io, descriptor, limits),
      m_engine(setup.address, setup.receive, setup.context, setup.timeout_s, nullptr,
               setup.logContext, setup.logOutput),
      m_timer(io) {
  if (!setup.guard) return;
  m_guard.emplace(*setup.guard, [this](unsigned char* frame, unsigned int length) {
    m_engine.pushData(frame, length);
  });
}

void nk_linkedEngine::start(std::function<void()> onEvent) {
  m_onEvent = std::move(onEvent);
  m_carrier.start([this] { round(); });
  tick();
}

void nk_linkedEngine::pump() {
  // What one poll receives, the next one answers: only a poll without bytes ends the round.
  for (auto before = m_carrier.received();; before = m_carrier.received()) {
    if (m_guard) {
      if (!m_carrier.congested()) receiveGuarded();
      m_engine.poll(nullptr, this, sendFor, nullptr);
    } else {
      auto const receive = m_carrier.congested() ? nullptr : nk_carrier::receiveFor;
      m_engine.poll(nullptr, &m_carrier, nk_carrier::sendFor, receive);
    }
    if (m_carrier.received() == before) return;
  }
}

// Takes all that waits, as the engine would: the carrier bounds how much that is.
void nk_linkedEngine::receiveGuarded() {
  unsigned char buffer[readSize];
  while (auto const count = m_carrier.receive(buffer, sizeof buffer))
    m_guard->receive(buffer, count);
}

unsigned int nk_linkedEngine::sendFor(nk_server*, void* ctx, unsigned char* data,
                                      unsigned int length, int* error) {
  auto& self = *static_cast<nk_linkedEngine*>(ctx);
  auto const taken = nk_carrier::sendFor(nullptr, &self.m_carrier, data, length, error);
  self.m_guard->sent(data, taken);
  return taken;
}

bool nk_linkedEngine::finished() const {
  if (m_carrier.error()) return m_carrier.incoming() == 0;
  return m_carrier.ended() && m_carrier.incoming() == 0 && m_carrier.outgoing() == 0;
}

void nk_linkedEngine::round() {
  pump();
  m_onEvent();
}

void nk_linkedEngine::tick() {
  m_timer.expires_after(tickTime);
  m_timer.async_wait([this, alive = std::weak_ptr(m_alive)](std::error_code problem) {
    if (alive.expired() || problem) return;
    m_carrier.checkProgress();
    if (m_guard) m_guard->expire();
    tick();
    round();
  });
}
