// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "shared/terminal.h"

#include "shared/clock.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace tool {

namespace {

constexpr char kGreen[] = "\033[32m";
constexpr char kRed[] = "\033[31m";
constexpr char kYellow[] = "\033[33m";
constexpr char kPlain[] = "\033[0m";
constexpr char kBackToLineStart[] = "\r\033[K";

constexpr int64 kProgressInterval = 100;  // milliseconds

// The first error of standard output; 0 as long as there was none.
int sOutputError = 0;

void KeepOutputError(int anError) {
  if (sOutputError == 0) sOutputError = anError;
}

bool IsSet(const char *aName) {
  const char *theValue = getenv(aName);
  return theValue != nullptr && *theValue != '\0';
}

bool IsTerminal() {
  const char *theType = getenv("TERM");
  return isatty(STDOUT_FILENO) && (theType == nullptr || strcmp(theType, "dumb") != 0);
}

bool WantsColours() {
  return IsTerminal() && !IsSet("NO_COLOR");
}

ZV_PRINTF_FORMAT(1, 0) void PrintArguments(const char *aFormat, va_list anArguments) {
  if (vprintf(aFormat, anArguments) < 0) KeepOutputError(errno);
}

void OpenIfClosed(int aDescriptor, int aMode) {
  if (fcntl(aDescriptor, F_GETFD) != -1 || errno != EBADF) return;
  // The lowest free number is the one wanted, as the streams are prepared in ascending order. Were
  // there no null device, the stream would stay closed, which is where it was.
  (void)open("/dev/null", aMode);
}

}  // namespace

void PrepareStandardStreams() {
  // Opened the wrong way round: using them has to fail as it would on the closed stream.
  OpenIfClosed(STDIN_FILENO, O_WRONLY);
  OpenIfClosed(STDOUT_FILENO, O_RDONLY);
  OpenIfClosed(STDERR_FILENO, O_RDONLY);
}

void Print(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  PrintArguments(aFormat, theArguments);
  va_end(theArguments);
}

void FlushOutput() {
  if (fflush(stdout) != 0) KeepOutputError(errno);
}

int FinishOutput(int aStatus) {
  FlushOutput();
  if (sOutputError == 0) return aStatus;
  Complain("cannot write standard output: %s", strerror(sOutputError));
  return aStatus == kStatus_Good ? kStatus_CheckFailed : aStatus;
}

void Complain(const char *aFormat, ...) {
  FlushOutput();  // in a log of both streams the line stands where it belongs
  va_list theArguments;
  va_start(theArguments, aFormat);
  fputs("zvos: ", stderr);
  vfprintf(stderr, aFormat, theArguments);
  fputc('\n', stderr);
  va_end(theArguments);
}

int ComplainOf(const Command &aCommand, const Problem &aProblem) {
  Complain("%s: %s", aCommand.mName, aProblem.mText.c_str());
  return aProblem.mStatus;
}

bool WriteOutput(const char *aData, size_t aLength) {
  FlushOutput();
  while (aLength > 0) {
    const ssize_t theCount = write(STDOUT_FILENO, aData, aLength);
    const int theError = errno;
    if (theCount >= 0) {
      aData += theCount;
      aLength -= static_cast<size_t>(theCount);
    } else if (theError == EAGAIN) {
      // A caller may have handed over a stream that does not wait.
      struct pollfd thePoll = {STDOUT_FILENO, POLLOUT, 0};
      poll(&thePoll, 1, -1);
    } else if (theError != EINTR) {
      Complain("cannot write standard output: %s", strerror(theError));
      return false;
    }
  }
  return true;
}

Step::Step(const char *aName) : mName(aName), mLastShown(Milliseconds()) {
  if (!IsTerminal()) return;
  Print("...     %s", mName);
  FlushOutput();
}

void Step::Progress(uint64 aDone, uint64 aTotal) {
  const int64 theNow = Milliseconds();
  if (theNow - mLastShown < kProgressInterval || aTotal == 0 || !IsTerminal()) return;
  mLastShown = theNow;
  Print("%s%3u %%   %s", kBackToLineStart, static_cast<unsigned>(aDone * 100 / aTotal), mName);
  FlushOutput();
}

bool Step::Passed(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  ShowOutcome(kGreen, "ok", aFormat, theArguments);
  va_end(theArguments);
  return true;
}

bool Step::Failed(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  ShowOutcome(kRed, "FAILED", aFormat, theArguments);
  va_end(theArguments);
  return false;
}

bool Step::NotPossible(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  ShowOutcome(kYellow, "n/a", aFormat, theArguments);
  va_end(theArguments);
  return true;
}

void Step::Withdraw() {
  if (!IsTerminal()) return;
  Print("%s", kBackToLineStart);
  FlushOutput();
}

ZV_PRINTF_FORMAT(4, 0)
void Step::ShowOutcome(const char *aColour, const char *aWord, const char *aFormat, va_list anArguments) {
  const bool afColours = WantsColours();
  Print("%s%s%-7s%s %-18s", IsTerminal() ? kBackToLineStart : "", afColours ? aColour : "", aWord,
        afColours ? kPlain : "", mName);
  PrintArguments(aFormat, anArguments);
  Print("\n");
  FlushOutput();
}

}  // namespace tool
