// The system's recursive lock, which mutexes and critical sections share.
#pragma once

#include <pthread.h>

namespace zvos {

// Returns 0 or the error number of the call that failed.
inline int InitRecursiveMutex(pthread_mutex_t *aMutex) {
  pthread_mutexattr_t theAttributes;
  int theError = pthread_mutexattr_init(&theAttributes);
  if (theError != 0) return theError;

  theError = pthread_mutexattr_settype(&theAttributes, PTHREAD_MUTEX_RECURSIVE);
  if (theError == 0) theError = pthread_mutex_init(aMutex, &theAttributes);
  pthread_mutexattr_destroy(&theAttributes);
  return theError;
}

}  // namespace zvos
