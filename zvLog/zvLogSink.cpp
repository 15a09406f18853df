// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Delivers a record to the sinks in use, without locks and without heap.
//
// Standard error is written by its number, so that a program may redirect it: whatever has the number 2 is by
// convention standard error, also a file that got it after it was closed.

#include "private/Sink.h"

#include "private/CancellationOff.h"
#include "private/Outlet.h"
#include "private/SinkFunction.h"
#include "private/SinkSet.h"

#include <unistd.h>
#include <cerrno>

namespace {

using zvlog::FinishedRecord;
using zvlog::Sink;
using zvlog::SinkKind;
using zvlog::SinkSet;

zvlog::Outlet sStandardError;

int WriteToStandardError(const FinishedRecord &aRecord) {
  const int theError = sStandardError.Write(zvlog::Examine(STDERR_FILENO), aRecord);
  if (theError == EBADF) sStandardError.CountLoss(theError);
  return theError;
}

int WriteTo(const Sink &aSink, const FinishedRecord &aRecord) {
  switch (aSink.mKind) {
    case SinkKind::File:
      return aSink.mFile->Write(aRecord);
    case SinkKind::SystemLog:
      return zvlog::SendToSystemLog(aSink.mAddress, aRecord);
    default:
      return WriteToStandardError(aRecord);
  }
}

struct Outcome {
  bool mfTaken;  // by one sink at least, or none wanted it
  bool mfOnStandardError;
};

Outcome DeliverToAll(const SinkSet &aSet, const FinishedRecord &aRecord) {
  int theWanting = 0;
  int theTaking = 0;
  bool afOnStandardError = false;
  for (int theIndex = 0; theIndex < aSet.mCount; ++theIndex) {
    const Sink &theSink = aSet.mSinks[theIndex];
    if (aRecord.mData.mLevel > theSink.mHighestLevel) continue;
    ++theWanting;
    afOnStandardError = afOnStandardError || theSink.mKind == SinkKind::StandardError;
    if (WriteTo(theSink, aRecord) == 0) ++theTaking;
  }
  // Where there is no sink at all, standard error is one.
  const bool afTaken = theTaking > 0 || (theWanting == 0 && aSet.mCount > 0);
  return {afTaken, afOnStandardError};
}

}  // namespace

namespace zvlog {

void Deliver(const FinishedRecord &aRecord) {
  const CancellationOff theCancellationOff;
  const bool afCalled = CallSinkFunction(aRecord);
  const SinkSet *theFormer = nullptr;
  bool afOnStandardError = afCalled;
  // The sinks may be changed meanwhile, and the former ones be closed: then the next ones get it. What no
  // sink takes goes to standard error.
  for (int theAttempt = 0; theAttempt < 3; ++theAttempt) {
    const bool afLast = theAttempt == 2;
    if (afLast && afOnStandardError) return;
    const SinkSet *theSet = afLast ? &gStandardErrorOnly : gSinkSet.load(std::memory_order_acquire);
    if (theSet == theFormer) continue;
    theFormer = theSet;
    if (afCalled && theSet->mCount == 0) return;
    const Outcome theOutcome = DeliverToAll(*theSet, aRecord);
    if (theOutcome.mfTaken) return;
    afOnStandardError = afCalled || theOutcome.mfOnStandardError;
  }
}

}  // namespace zvlog
