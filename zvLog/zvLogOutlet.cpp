// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One way out for records: how a line or a message leaves, and what is remembered of those that did not.

#include "private/Outlet.h"

#include <zvLog/zvLogSettings.h>

#include "private/LineWriter.h"
#include "private/Names.h"
#include "private/Terminal.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kLossTextRoom = 80;

}  // namespace

namespace zvlog {

int Outlet::Write(const Target &aTarget, const FinishedRecord &aRecord) {
  Patience thePatience(mfStalled.load(std::memory_order_relaxed) ? 0 : kPatienceMilliseconds);
  int theError = 0;
  if (mLost.load(std::memory_order_relaxed) != 0) theError = TellLosses(aTarget, aRecord, &thePatience);
  if (theError == 0) theError = WriteRecord(aTarget, aRecord, &thePatience);
  // A system log that is being started again has its records on standard error.
  const bool afCounts = aTarget.mAddress != nullptr ? theError == EAGAIN : theError != EBADF;
  if (theError != 0 && afCounts) CountLoss(theError);
  const bool afStalled = theError == EAGAIN;
  if (mfStalled.load(std::memory_order_relaxed) != afStalled) {
    mfStalled.store(afStalled, std::memory_order_relaxed);
  }
  return theError;
}

void Outlet::CountLoss(int anError) {
  mLossError.store(anError, std::memory_order_relaxed);
  mLost.fetch_add(1, std::memory_order_relaxed);
}

void Outlet::Forget() {
  mLost.store(0, std::memory_order_relaxed);
  mfStalled.store(false, std::memory_order_relaxed);
  mfTorn.store(false, std::memory_order_relaxed);
}

int Outlet::TellLosses(const Target &aTarget, const FinishedRecord &aRecord, Patience *aPatience) {
  const uint32 theCount = mLost.exchange(0, std::memory_order_relaxed);
  if (theCount == 0) return 0;  // another thread tells

  char theLine[kHeaderRoom + kLossTextRoom];
  LineWriter theText(theLine + kHeaderRoom, kLossTextRoom);
  theText.Number(theCount);
  theText.Text(theCount == 1 ? " record" : " records");
  theText.Text(" could not be written here (error = ");
  theText.Number(static_cast<uint32>(mLossError.load(std::memory_order_relaxed)));
  theText.Text(")\n");

  const zvLogData theData = {kzvLogLevel_Warning, kModuleDefault, __FILE__, __LINE__};
  const int theError = WriteRecord(aTarget,
                                   {theData, aRecord.mTime, aRecord.mProcess, aRecord.mThread,
                                    aRecord.mThreadName, theLine + kHeaderRoom, theText.Length()},
                                   aPatience);
  if (theError != 0) mLost.fetch_add(theCount, std::memory_order_relaxed);
  return theError;
}

int Outlet::WriteRecord(const Target &aTarget, const FinishedRecord &aRecord, Patience *aPatience) {
  const bool afMessage = aTarget.mAddress != nullptr;
  // A header ends where the text begins, and how long it is shows only when it is written. So it is written
  // at the beginning of the room that the record has for it, and then moved: the stack of a thread that
  // crashed has no room for a second one.
  char *theHeader = aRecord.mText - kHeaderRoom;
  const size_t theHeaderLength =
      afMessage ? WriteSyslogHeader(aRecord, theHeader) : WriteLineHeader(aRecord, theHeader);
  char *theBegin = aRecord.mText - theHeaderLength;
  memmove(theBegin, theHeader, theHeaderLength);
  const size_t theLength = theHeaderLength + aRecord.mLength;
  if (afMessage) return WriteHarmlessly(aTarget, theBegin, theLength - 1, aPatience).mError;  // it is no line

  if (const int theError = EndTornLine(aTarget, aPatience)) return theError;
  const Written theWritten = aTarget.mMedium == Medium::Terminal
                                 ? WriteToTerminal(aTarget, theBegin, theLength, aPatience)
                                 : WriteHarmlessly(aTarget, theBegin, theLength, aPatience);
  if (theWritten.mError != 0 && theWritten.mLength > 0) mfTorn.store(true, std::memory_order_relaxed);
  return theWritten.mError;
}

// The rest of a line that was torn cannot be had any more; the next one shall not stand behind it.
int Outlet::EndTornLine(const Target &aTarget, Patience *aPatience) {
  if (!mfTorn.load(std::memory_order_relaxed) || !mfTorn.exchange(false, std::memory_order_relaxed)) return 0;
  const int theError = WriteHarmlessly(aTarget, "\n", 1, aPatience).mError;
  if (theError != 0) mfTorn.store(true, std::memory_order_relaxed);
  return theError;
}

}  // namespace zvlog
