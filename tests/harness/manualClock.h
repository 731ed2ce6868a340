#pragma once

#include <algorithm>
#include <vector>

#include "link/clock.h"

namespace harness {

/// The clock of an io_context that moves by hand only: install() it before anything else is made on
/// the io_context, which then owns it. Belongs to the thread that runs the io_context.
class tManualClock : public nk_clock {
 public:
  using nk_clock::nk_clock;
  static tManualClock& install(asio::io_context& io) {
    auto* const clock = new tManualClock(io);
    asio::add_service<nk_clock>(io, clock);
    return *clock;
  }

  tMoment now() const override { return m_now; }
  /// Moves the time in one step, then runs all handlers, and timers that are due in their order.
  void advance(tMoment::duration step) {
    m_now += step;
    settle();
  }
  void settle() {
    auto& io = static_cast<asio::io_context&>(context());
    do {
      io.restart();
      io.poll();
    } while (fireNext());
  }
  /// How long until the next timer is due; the longest time there is if none is set.
  tMoment::duration untilNext() const {
    auto next = tMoment::duration::max();
    for (auto* const timer : m_timers) next = std::min(next, due(*timer) - m_now);
    return next;
  }

 protected:
  bool keep(nk_timer& timer) override {
    m_timers.push_back(&timer);
    return true;
  }
  void drop(nk_timer& timer) noexcept override { std::erase(m_timers, &timer); }

 private:
  bool fireNext() {
    auto const next = std::min_element(m_timers.begin(), m_timers.end(),
                                       [](auto* a, auto* b) { return due(*a) < due(*b); });
    if (next == m_timers.end() || due(**next) > m_now) return false;
    auto& timer = **next;
    m_timers.erase(next);
    fire(timer);
    return true;
  }

  tMoment m_now{std::chrono::hours(1)};
  std::vector<nk_timer*> m_timers;
};

}  // namespace harness
