// The calling thread, without a call on every use: locks ask for it each time they are taken.
#pragma once

#include <zvOS/zvDefaultDefines.h>

#include <pthread.h>

namespace zvos {

inline thread_local pthread_t sCurrentThread = pthread_t();

inline pthread_t CurrentThread() {
  if (ZV_UNLIKELY(sCurrentThread == pthread_t())) sCurrentThread = pthread_self();
  return sCurrentThread;
}

}  // namespace zvos
