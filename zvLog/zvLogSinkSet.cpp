// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The sinks that are in use together.
//
// A process may be forked while another thread changes them. What the child then has is sound, because each
// step of a change is a single store; only the lock has to be given back.

#include "private/SinkSet.h"

#include <zvLog/zvLogSettings.h>

#include <pthread.h>
#include <time.h>
#include <cerrno>
#include <cstdlib>

namespace {

using zvlog::FileChannel;
using zvlog::Sink;
using zvlog::SinkKind;
using zvlog::SinkSet;

SinkSet sStandardError = {1, {{SinkKind::StandardError, zvlog::kEveryLevel, nullptr, nullptr}}, nullptr};
SinkSet *sSets = &sStandardError;

// Changes are rare and short; a mutex could not be given back in a child by another thread than its owner.
std::atomic<bool> sfChanging{false};

void LockChanges() {
  const timespec theMoment = {0, 1000000};
  while (sfChanging.exchange(true, std::memory_order_acquire))
    nanosleep(&theMoment, nullptr);
}

void UnlockChanges() {
  sfChanging.store(false, std::memory_order_release);
}

bool operator==(const Sink &aFirst, const Sink &aSecond) {
  return aFirst.mKind == aSecond.mKind && aFirst.mHighestLevel == aSecond.mHighestLevel &&
         aFirst.mFile == aSecond.mFile && aFirst.mAddress == aSecond.mAddress;
}

bool operator==(const SinkSet &aFirst, const SinkSet &aSecond) {
  if (aFirst.mCount != aSecond.mCount) return false;
  for (int theIndex = 0; theIndex < aFirst.mCount; ++theIndex) {
    if (!(aFirst.mSinks[theIndex] == aSecond.mSinks[theIndex])) return false;
  }
  return true;
}

const SinkSet *FindOrAddSet(const SinkSet &aSet) {
  for (const SinkSet *theSet = sSets; theSet != nullptr; theSet = theSet->mNext) {
    if (*theSet == aSet) return theSet;
  }
  SinkSet *theNew = static_cast<SinkSet *>(malloc(sizeof(SinkSet)));
  if (theNew == nullptr) return nullptr;
  *theNew = aSet;
  theNew->mNext = sSets;
  sSets = theNew;
  return theNew;
}

bool UsesSystemLog(const SinkSet &aSet) {
  for (int theIndex = 0; theIndex < aSet.mCount; ++theIndex) {
    if (aSet.mSinks[theIndex].mKind == SinkKind::SystemLog) return true;
  }
  return false;
}

bool Uses(const SinkSet &aSet, const FileChannel *aChannel) {
  for (int theIndex = 0; theIndex < aSet.mCount; ++theIndex) {
    if (aSet.mSinks[theIndex].mFile == aChannel) return true;
  }
  return false;
}

__attribute__((constructor)) void UnlockInChildren() {
  pthread_atfork(nullptr, nullptr, UnlockChanges);
}

// When the library is unloaded. At the end of a process others may still log: they open again.
__attribute__((destructor)) void CloseDescriptors() {
  for (zvlog::LastingDescriptor &theDescriptor : zvlog::gDescriptors)
    theDescriptor.Close();
}

}  // namespace

namespace zvlog {

std::atomic<const SinkSet *> gSinkSet{&sStandardError};

SinkChange::SinkChange(Former aFormer) {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mCancelState);
  LockChanges();
  if (aFormer == Former::Kept) mSet = *gSinkSet.load();
}

SinkChange::~SinkChange() {
  UnlockChanges();
  pthread_setcancelstate(mCancelState, nullptr);
}

bool SinkChange::HasRoom() const {
  if (mSet.mCount < kMaximumSinks) return true;
  errno = ENOSPC;
  return false;
}

bool SinkChange::Add(const Sink &aSink) {
  mSet.mSinks[mSet.mCount++] = aSink;
  mfChanged = true;
  return true;
}

FileChannel *SinkChange::FreeChannel() const {
  FileChannel *theChannel = gFileChannels;
  while (Uses(mSet, theChannel))
    ++theChannel;
  return theChannel;
}

bool SinkChange::AddStandardError(zvLogLevel aHighestLevel) {
  return HasRoom() && Add({SinkKind::StandardError, aHighestLevel, nullptr, nullptr});
}

bool SinkChange::AddFile(const char *aPath, zvLogLevel aHighestLevel) {
  if (!HasRoom()) return false;
  const FilePlace *thePlace = FindOrAddPlace(aPath);
  if (thePlace == nullptr) return false;
  FileChannel *theChannel = FreeChannel();
  return theChannel->Open(thePlace) && Add({SinkKind::File, aHighestLevel, theChannel, nullptr});
}

bool SinkChange::AddSystemLog(const char *aSocketPath, zvLogLevel aHighestLevel) {
  if (!HasRoom()) return false;
  const SocketAddress *theAddress = OpenSystemLog(aSocketPath);
  return theAddress != nullptr && Add({SinkKind::SystemLog, aHighestLevel, nullptr, theAddress});
}

bool SinkChange::Commit() {
  if (!mfChanged) return true;
  const SinkSet *theSet = FindOrAddSet(mSet);
  if (theSet == nullptr) return false;
  gSinkSet.store(theSet, std::memory_order_release);
  for (FileChannel &theChannel : gFileChannels) {
    if (!Uses(*theSet, &theChannel)) theChannel.Release();
  }
  if (!UsesSystemLog(*theSet)) ForgetSystemLog();
  return true;
}

}  // namespace zvlog

using zvlog::SinkChange;

extern "C" void zvLog_SetSinkStandardError(void) {
  SinkChange theChange(SinkChange::Former::Replaced);
  theChange.AddStandardError(zvlog::kEveryLevel);
  theChange.Commit();
}

extern "C" int zvLog_SetSinkFile(const char *aPath) {
  if (aPath == nullptr) {
    errno = EINVAL;
    return 0;
  }
  SinkChange theChange(SinkChange::Former::Replaced);
  return theChange.AddFile(aPath, zvlog::kEveryLevel) && theChange.Commit();
}

extern "C" int zvLog_SetSinkSyslog(const char *aSocketPath) {
  SinkChange theChange(SinkChange::Former::Replaced);
  return theChange.AddSystemLog(aSocketPath, zvlog::kEveryLevel) && theChange.Commit();
}
