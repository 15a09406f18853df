// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Layer.h"

#include <unistd.h>

namespace {

enum { kNoError = 0, kError = 1 };

}  // namespace

int Layer_Lock(pthread_mutex_t *aMutex) {
  return pthread_mutex_lock(aMutex) == 0 ? kNoError : kError;
}

int Layer_Unlock(pthread_mutex_t *aMutex) {
  return pthread_mutex_unlock(aMutex) == 0 ? kNoError : kError;
}

int Layer_Seek(int aDescriptor, int64 anOffset) {
  return lseek64(aDescriptor, anOffset, SEEK_SET) != -1 ? kNoError : kError;
}

int Layer_Read(int aDescriptor, void *aBuffer, uint32 aCount) {
  return read(aDescriptor, aBuffer, aCount) == static_cast<ssize_t>(aCount) ? kNoError : kError;
}
