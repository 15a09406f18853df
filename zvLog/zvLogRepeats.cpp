// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records that come again and again.
//
// All threads share what is known of the last record: a number that stands for it, and how often it came.
// Both are one word, which changes in one step, so that nobody waits and no repeat is lost, also when a
// signal handler logs in the middle. The number is made of all that tells records apart, and of the second: a
// record that comes again in the next one is another.

#include "private/Repeats.h"

#include "private/Notice.h"
#include "private/Sink.h"

#include <algorithm>
#include <atomic>

namespace {

using zvlog::FinishedRecord;

// The last record: its number above, below it its level and how often it came.
constexpr unsigned kKeyShift = 32;
constexpr unsigned kLevelShift = 28;
constexpr uint32 kHighestLevel = 15;
constexpr uint32 kCountMask = (uint32{1} << kLevelShift) - 1;

std::atomic<uint32> sLimit{0};
std::atomic<uint64> sLast{0};

uint32 Mixed(uint32 aKey, uint32 aValue) {
  return (aKey ^ aValue) * 16777619;
}

uint32 KeyOf(const FinishedRecord &aRecord) {
  uint32 theKey = Mixed(2166136261, static_cast<uint32>(aRecord.mTime.tv_sec));
  theKey = Mixed(theKey, uint32{aRecord.mData.mModule} << 16 | aRecord.mData.mLevel);
  theKey = Mixed(theKey, static_cast<uint32>(reinterpret_cast<uintptr_t>(aRecord.mData.mFile)));
  theKey = Mixed(theKey, aRecord.mData.mLine);
  for (size_t theIndex = 0; theIndex < aRecord.mLength; ++theIndex)
    theKey = Mixed(theKey, static_cast<unsigned char>(aRecord.mText[theIndex]));
  return theKey;
}

void TellLeftOut(uint64 aLast, uint32 aLimit) {
  const uint32 theCount = static_cast<uint32>(aLast) & kCountMask;
  if (theCount <= aLimit) return;
  const zvLogLevel theLevel = static_cast<zvLogLevel>(static_cast<uint32>(aLast) >> kLevelShift);
  zvlog::EmitNotice(zvlog::Deliver, theLevel, __FILE__, __LINE__, "repeats of the last record left out: %u\n",
                    theCount - aLimit);
}

// At the end of the program and when the library is unloaded; the sinks are closed after it.
__attribute__((destructor)) void TellAtTheEnd() {
  zvlog::LeftOutRepeats().ReplaceLimit(0);
}

// False when enough of the same were delivered. It is no part of its caller, which needs little stack
// otherwise.
__attribute__((noinline)) bool IsToBeDelivered(const FinishedRecord &aRecord, uint32 aLimit) {
  const uint32 theKey = KeyOf(aRecord);
  const uint32 theLevel = std::min<uint32>(aRecord.mData.mLevel, kHighestLevel);
  const uint64 theFirst = uint64{theKey} << kKeyShift | theLevel << kLevelShift | 1;
  uint64 theLast = sLast.load(std::memory_order_relaxed);
  bool afSame;
  do {
    afSame = theLast >> kKeyShift == theKey;
  } while (!sLast.compare_exchange_weak(theLast, afSame ? theLast + 1 : theFirst, std::memory_order_relaxed));
  if (afSame) return (static_cast<uint32>(theLast) & kCountMask) < aLimit;
  TellLeftOut(theLast, aLimit);
  return true;
}

}  // namespace

namespace zvlog {

void DeliverUnlessRepeated(const FinishedRecord &aRecord) {
  const uint32 theLimit = sLimit.load(std::memory_order_relaxed);
  if (theLimit == 0 || IsToBeDelivered(aRecord, theLimit)) Deliver(aRecord);
}

void LeftOutRepeats::ReplaceLimit(uint32 aLimit) {
  // Off meanwhile, so that the count is that of one limit.
  mFormerLimit = sLimit.exchange(0);
  mLast = sLast.exchange(0);
  sLimit.store(aLimit);
}

LeftOutRepeats::~LeftOutRepeats() {
  TellLeftOut(mLast, mFormerLimit);
}

void ForgetRepeats() {
  sLast.store(0);
}

}  // namespace zvlog
