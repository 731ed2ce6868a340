#pragma once

#include <atomic>

#include "nkSupport/tTime.h"

namespace harness {

/// A clock that stands until it is moved, installed as long as it lives. Sleeping returns at once
/// and is counted. Other threads may read it while it is moved.
class tFakeClock : public tClock {
 public:
  explicit tFakeClock(long long start = 1700000000) : m_now(start) { tTime::setClock(this); }
  ~tFakeClock() override { tTime::setClock(nullptr); }
  tFakeClock(tFakeClock const&) = delete;
  tFakeClock& operator=(tFakeClock const&) = delete;

  long long now() override { return m_now; }
  void sleep(unsigned int milliseconds) override { slept_ms += milliseconds; }
  void advance(long long seconds) { m_now += seconds; }

  unsigned int slept_ms = 0;

 private:
  std::atomic<long long> m_now;
};

}  // namespace harness
