#include "link/linkedEngine.h"

#include <algorithm>

#include "protocol/frame.h"

namespace {

constexpr std::chrono::milliseconds tickTime{100};
// How much the guard is given at once.
constexpr unsigned int readSize = 32768;
// Memory that is kept for frames on their way.
constexpr unsigned int keptRoom = 256 << 10;
// How much an engine without a guard is given before its answers are looked at.
constexpr unsigned int unguardedReadSize = 2048;

}  // namespace

nk_linkedEngine::nk_linkedEngine(asio::io_context& io, int descriptor,
                                 nk_carrier::tLimits const& limits, tSetup const& setup)
    : m_carrier(io, descriptor, limits),
      m_engine(setup.address, setup.receive, setup.context, setup.timeout_s, setup.logFcn,
               setup.logContext, setup.logOutput),
      m_timer(io) {
  if (!setup.guard) return;
  m_guard.emplace(*setup.guard, [this](unsigned char* frame, unsigned int length) {
    m_frames.append(frame, length);  // without memory for it, it is lost as on a bad line
  });
}

void nk_linkedEngine::start(std::function<void()> onEvent) {
  m_onEvent = std::move(onEvent);
  m_carrier.start([this] { round(); });
  tick();
}

void nk_linkedEngine::pump() {
  // What one poll receives, the next one answers: a poll without bytes ends the round, or with a
  // guard one without a frame.
  for (bool more = true; more;) {
    auto const before = m_carrier.received();
    if (m_guard) {
      more = handOneOver();
      m_engine.poll(nullptr, this, sendFor, nullptr);
      if (more) m_engine.poll(nullptr, this, sendFor, nullptr);  // what the frame is answered with
    } else {
      auto const receive = m_carrier.congested() ? nullptr : receiveFor;
      m_engine.poll(nullptr, &m_carrier, nk_carrier::sendFor, receive);
      more = m_carrier.received() != before;
    }
  }
}

// Gives the engine its next frame, unless it has to send first. False if nothing is left to do.
bool nk_linkedEngine::handOneOver() {
  unsigned char buffer[readSize];
  while (!m_carrier.congested()) {
    if (!m_frames.empty()) {
      unsigned int const size = m_frames.getIndexOf(frameEnd, 0) + 1;
      m_engine.pushData(m_frames.data(), size);
      m_frames.slice(size);
      if (m_frames.empty() && m_frames.capacity() > keptRoom) m_frames.release();
      return true;
    }
    auto const count = m_carrier.receive(buffer, sizeof buffer);
    if (count == 0) return false;
    m_guard->receive(buffer, count);
  }
  return false;
}

// Less than the engine asks for, or it would ask again before it sends.
unsigned int nk_linkedEngine::receiveFor(nk_server*, void* ctx, unsigned char* data,
                                         unsigned int length, int*) {
  return static_cast<nk_carrier*>(ctx)->receive(data, std::min(length, unguardedReadSize));
}

unsigned int nk_linkedEngine::sendFor(nk_server*, void* ctx, unsigned char* data,
                                      unsigned int length, int* error) {
  auto& self = *static_cast<nk_linkedEngine*>(ctx);
  auto const taken = nk_carrier::sendFor(nullptr, &self.m_carrier, data, length, error);
  self.m_guard->sent(data, taken);
  return taken;
}

bool nk_linkedEngine::finished() const {
  if (unhandled() != 0) return false;
  return m_carrier.error() || (m_carrier.ended() && m_carrier.outgoing() == 0);
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
