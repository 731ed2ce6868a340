#include "link/clock.h"

#include <exception>
#include <utility>

bool nk_clock::keep(nk_timer&) { return false; }

void nk_clock::drop(nk_timer&) noexcept {}

nk_clock::tMoment nk_clock::due(nk_timer const& timer) { return timer.m_due; }

void nk_clock::fire(nk_timer& timer) { timer.fire(); }

nk_timer::nk_timer(asio::io_context& io) : m_clock(nk_clock::of(io)), m_timer(io) {}

nk_timer::~nk_timer() { cancel(); }

void nk_timer::at(tMoment when, std::function<void()> handler) {
  cancel();
  m_due = when;
  m_handler = std::make_shared<std::function<void()>>(std::move(handler));
  if (m_clock.keep(*this)) return;
  m_timer.expires_at(when);
  m_timer.async_wait([this, alive = std::weak_ptr(m_handler)](std::error_code) {
    if (!alive.expired()) fire();
  });
}

void nk_timer::after(nk_clock::tMoment::duration delay, std::function<void()> handler) {
  at(m_clock.now() + delay, std::move(handler));
}

void nk_timer::cancel() noexcept {
  if (!m_handler) return;
  m_handler.reset();  // from here on Asio's handler does nothing
  m_clock.drop(*this);
  try {
    m_timer.cancel();
  } catch (std::exception const&) {  // then it waits in vain
  }
}

void nk_timer::fire() {
  auto const handler = std::exchange(m_handler, nullptr);
  (*handler)();
}
