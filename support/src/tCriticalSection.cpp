#include "nkSupport/tCriticalSection.h"

tCriticalSection::tCriticalSection(bool reentrant) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes,
                            reentrant ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_NORMAL);
  pthread_mutex_init(&m_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

tCriticalSection::~tCriticalSection() { pthread_mutex_destroy(&m_mutex); }

void tCriticalSection::enter(char const*) { pthread_mutex_lock(&m_mutex); }

void tCriticalSection::leave() { pthread_mutex_unlock(&m_mutex); }
