#include "link/linkedEngine.h"

#include <algorithm>
#include <asio/post.hpp>

#include "codec/frameLayout.h"

namespace {

constexpr std::chrono::milliseconds tickTime{100};
// How much the guard is given at once.
constexpr unsigned int readSize = 32768;
// Memory that is kept for frames on their way.
constexpr unsigned int keptRoom = 256 << 10;
// How much an engine without a guard is given before its answers are looked at.
constexpr unsigned int unguardedReadSize = 2048;
// Frames, or reads of an engine without a guard, after which other links get their turn.
constexpr unsigned int stepsPerRound = 64;

}  // namespace

nk_linkedEngine::nk_linkedEngine(asio::io_context& io, int descriptor,
                                 nk_carrier::tLimits const& limits, tSetup const& setup)
    : m_io(io),
      m_carrier(io, descriptor, limits),
      m_engine(setup.address, setup.receive, setup.context, setup.timeout_s, setup.logFcn,
               setup.logContext, setup.logOutput),
      m_tick(io) {
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
  while (pumpSome()) {
  }
}

// True if there may be more to do.
bool nk_linkedEngine::pumpSome() {
  for (unsigned int step = 0; step < stepsPerRound; ++step)
    if (!pumpOnce()) return false;
  return true;
}

// What one poll receives, the next one answers: a poll without bytes is the last, or with a guard
// one without a frame. False after that.
bool nk_linkedEngine::pumpOnce() {
  if (m_guard) {
    bool const more = handOneOver();
    m_engine.poll(nullptr, this, sendFor, nullptr);
    if (more) m_engine.poll(nullptr, this, sendFor, nullptr);  // what the frame is answered with
    return more;
  }
  auto const before = m_carrier.received();
  auto const receive = m_carrier.congested() ? nullptr : receiveFor;
  m_engine.poll(nullptr, &m_carrier, nk_carrier::sendFor, receive);
  return m_carrier.received() != before;
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

unsigned long long nk_linkedEngine::heldBytes() const {
  return m_carrier.heldBytes() + m_frames.capacity() + (m_guard ? m_guard->heldBytes() : 0);
}

bool nk_linkedEngine::finished() const {
  if (unhandled() != 0) return false;
  return m_carrier.error() || (m_carrier.ended() && m_carrier.outgoing() == 0);
}

// NOLINTBEGIN(misc-no-recursion): the posted handler runs after this call
void nk_linkedEngine::round() {
  bool const more = pumpSome();
  if (more && !std::exchange(m_roundPosted, true)) {
    asio::post(m_io, [this, alive = std::weak_ptr(m_alive)] {
      if (alive.expired()) return;
      m_roundPosted = false;
      round();
    });
  }
  m_onEvent();
}
// NOLINTEND(misc-no-recursion)

void nk_linkedEngine::tick() {
  m_tick.after(tickTime, [this] {
    m_carrier.checkProgress();
    if (m_guard) {
      m_guard->expire();
      m_guard->trim();
    }
    tick();
    round();
  });
}
