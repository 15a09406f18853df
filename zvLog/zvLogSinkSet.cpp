// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The sinks that are in use together.
//
// A process may be forked while another thread changes them. What the child then has is sound, because each
// step of a change is a single store.

#include "private/SinkSet.h"

#include "private/Repeats.h"
#include "private/SinkFunction.h"
#include "private/SinkText.h"

#include <zvLog/zvLogSettings.h>

#include <pthread.h>
#include <cerrno>
#include <cstdlib>

namespace {

using zvlog::FileChannel;
using zvlog::Sink;
using zvlog::SinkKind;
using zvlog::SinkSet;

SinkSet sNone = {0, {}, &zvlog::gStandardErrorOnly};
SinkSet *sSets = &sNone;

zvlog::ForkSafeLock sChanging;

constexpr int kLast = 101;  // of all destructors

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

void GoOnInChild() {
  for (FileChannel &theChannel : zvlog::gFileChannels)
    theChannel.ForgetOtherThreads();
  zvlog::ForgetOtherCallers();
  zvlog::ForgetRepeats();
}

__attribute__((constructor)) void GoOnInChildren() {
  pthread_atfork(nullptr, nullptr, GoOnInChild);
}

// When the library is unloaded, after the last record. At the end of a process others may still log: they
// open again.
__attribute__((destructor(kLast))) void CloseDescriptors() {
  for (zvlog::LastingDescriptor &theDescriptor : zvlog::gDescriptors)
    theDescriptor.Close();
}

}  // namespace

namespace zvlog {

SinkSet gStandardErrorOnly = {1, {{SinkKind::StandardError, kEveryLevel, nullptr, nullptr}}, nullptr};
std::atomic<const SinkSet *> gSinkSet{&gStandardErrorOnly};
std::atomic<bool> gfSinksOfSettings{false};

SinkChange::SinkChange(Former aFormer) : mLock(&sChanging) {
  if (aFormer == Former::Kept) mSet = *gSinkSet.load();
}

SinkChange::~SinkChange() {
  const SinkSet &theSet = *gSinkSet.load(std::memory_order_relaxed);
  for (FileChannel &theChannel : gFileChannels) {
    if (!Uses(theSet, &theChannel)) theChannel.Release();
  }
  if (!UsesSystemLog(theSet)) ForgetSystemLog();
}

bool SinkChange::HasRoom() const {
  if (mSet.mCount < kMaximumSinks) return true;
  errno = ENOSPC;
  return false;
}

bool SinkChange::Add(const Sink &aSink) {
  mSet.mSinks[mSet.mCount++] = aSink;
  return true;
}

// That in force for the same place goes on; another in force is left as it is.
FileChannel *SinkChange::ChannelFor(const FilePlace *aPlace) const {
  FileChannel *theFree = nullptr;
  for (FileChannel &theChannel : gFileChannels) {
    if (Uses(mSet, &theChannel)) continue;
    if (theChannel.IsAt(aPlace)) return &theChannel;
    if (theFree == nullptr && theChannel.IsAt(nullptr)) theFree = &theChannel;
  }
  return theFree;
}

bool SinkChange::AddStandardError(zvLogLevel aHighestLevel) {
  return HasRoom() && Add({SinkKind::StandardError, aHighestLevel, nullptr, nullptr});
}

bool SinkChange::AddFile(const FileSink &aFile) {
  if (!HasRoom()) return false;
  const FilePlace *thePlace = FindOrAddPlace(aFile.mPath, aFile.mMaximumSize, aFile.mGenerations);
  if (thePlace == nullptr) return false;
  FileChannel *theChannel = ChannelFor(thePlace);
  return theChannel->Open(thePlace) && Add({SinkKind::File, aFile.mHighestLevel, theChannel, nullptr});
}

bool SinkChange::AddSystemLog(const char *aSocketPath, zvLogLevel aHighestLevel) {
  if (!HasRoom()) return false;
  const SocketAddress *theAddress = OpenSystemLog(aSocketPath);
  return theAddress != nullptr && Add({SinkKind::SystemLog, aHighestLevel, nullptr, theAddress});
}

bool SinkChange::Commit() {
  const SinkSet *theSet = FindOrAddSet(mSet);
  if (theSet == nullptr) return false;
  gSinkSet.store(theSet, std::memory_order_release);
  return true;
}

void SinkChange::CommitNone() {
  gSinkSet.store(&sNone, std::memory_order_release);
  gfSinksOfSettings.store(false, std::memory_order_relaxed);
}

}  // namespace zvlog

using zvlog::SinkChange;

namespace {

bool AddPlain(SinkChange *aChange, SinkKind aKind, const char *aPath) {
  switch (aKind) {
    case SinkKind::File:
      return aChange->AddFile({aPath, zvlog::kEveryLevel, 0, 0});
    case SinkKind::SystemLog:
      return aChange->AddSystemLog(aPath, zvlog::kEveryLevel);
    default:
      return aChange->AddStandardError(zvlog::kEveryLevel);
  }
}

// A sink that is set replaces all others, the function as well.
bool SetOnly(SinkKind aKind, const char *aPath) {
  {
    SinkChange theChange(SinkChange::Former::Replaced);
    if (!AddPlain(&theChange, aKind, aPath) || !theChange.Commit()) return false;
    zvlog::gfSinksOfSettings.store(false, std::memory_order_relaxed);
  }
  zvlog::RemoveSinkFunction();
  return true;
}

}  // namespace

extern "C" void zvLog_SetSinkStandardError(void) {
  SetOnly(SinkKind::StandardError, nullptr);
}

extern "C" int zvLog_SetSinkFile(const char *aPath) {
  if (aPath == nullptr) {
    errno = EINVAL;
    return 0;
  }
  return SetOnly(SinkKind::File, aPath);
}

extern "C" int zvLog_SetSinkSyslog(const char *aSocketPath) {
  return SetOnly(SinkKind::SystemLog, aSocketPath);
}

extern "C" int zvLog_AddSink(const char *aSink) {
  if (aSink == nullptr) {
    errno = EINVAL;
    return 0;
  }
  SinkChange theChange(SinkChange::Former::Kept);
  return zvlog::AddSinkFromText(&theChange, aSink).mWhat == nullptr && theChange.Commit();
}
