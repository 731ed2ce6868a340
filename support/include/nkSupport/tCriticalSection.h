#pragma once

#include <pthread.h>

#include "nkSupport/export.h"
#include "nkSupport/threadSafety.h"

/// A lock between the threads of one process. It cannot be copied.
class NK_SUPPORT_API NK_CAPABILITY("mutex") tCriticalSection {
 public:
  /// With `reentrant` true the owning thread may enter again; it must leave as often as it entered.
  /// With false a second entry by the owner blocks for ever.
  explicit tCriticalSection(bool reentrant);
  ~tCriticalSection();
  tCriticalSection(tCriticalSection const&) = delete;
  tCriticalSection& operator=(tCriticalSection const&) = delete;

  /// Waits until the lock is free and takes it. `name` says who enters, for debuggers; it is not
  /// read and may be null.
  void enter(char const* name) NK_ACQUIRE();
  /// Gives one entry back. Only the owning thread may call it.
  void leave() NK_RELEASE();

 private:
  pthread_mutex_t m_mutex;
};

/// Holds a tCriticalSection from its construction to the end of its scope.
class NK_SCOPED_CAPABILITY tLockGuard {
 public:
  /// Enters `lock`, which is borrowed until the guard ends.
  explicit tLockGuard(tCriticalSection& lock) NK_ACQUIRE(lock) : m_lock(lock) {
    m_lock.enter(nullptr);
  }
  ~tLockGuard() NK_RELEASE() { m_lock.leave(); }
  tLockGuard(tLockGuard const&) = delete;
  tLockGuard& operator=(tLockGuard const&) = delete;

 private:
  tCriticalSection& m_lock;
};
