#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "nkSupport/tCriticalSection.h"

namespace {

// The analysis of clang does not know locks that may be entered again.
void addTwice(tCriticalSection& lock, int& count) NK_NO_THREAD_SAFETY_ANALYSIS {
  lock.enter("outer");
  lock.enter(nullptr);
  ++count;
  lock.leave();
  ++count;  // still locked
  lock.leave();
}

void addOnce(tCriticalSection& lock, int& count) {
  tLockGuard const guard(lock);
  count += 2;
}

// With a lock that lets two in, counts are lost, and the thread sanitizer reports a race.
TEST(tCriticalSection, letsOneThreadInAtATime) {
  constexpr int threads = 4, rounds = 20000;
  for (bool const reentrant : {false, true}) {
    tCriticalSection lock(reentrant);
    int count = 0;
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
      running.emplace_back([&] {
        for (int round = 0; round < rounds; ++round) {
          reentrant ? addTwice(lock, count) : addOnce(lock, count);
        }
      });
    }
    for (auto& thread : running) thread.join();
    EXPECT_EQ(count, 2 * threads * rounds);
  }
}

}  // namespace
