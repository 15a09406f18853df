// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A program that is its own log provider: it defines the functions of the log interface that records go
// through, and the library calls them in place of those of libzvLog. Each record becomes a line of JSON on
// standard output.
//
// What a provider promises (see <zvLog/zvLog.h>): records nest, each thread has its own, nothing is allocated
// or locked, and errno stays. So it works in the handler of a crash, too.

#include <zvOS/zvOS.hpp>

#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr int kMostRecords = 4;
constexpr int kMostText = 1000;
constexpr zvLogModule kMyModule = 1000;

struct Record {
  zvLogData mData;
  int mLength;
  char mText[kMostText];
};

struct KeepErrno {
  ~KeepErrno() { errno = mError; }
  const int mError = errno;
};

thread_local Record sRecords[kMostRecords];
thread_local int sDepth;

// What cannot be written is dropped: a log does not end its program.
void Write(std::string_view aText) {
  while (!aText.empty()) {
    const ssize_t theCount = write(STDOUT_FILENO, aText.data(), aText.size());
    if (theCount < 0 && errno == EINTR) continue;
    if (theCount <= 0) return;
    aText.remove_prefix(static_cast<size_t>(theCount));
  }
}

}  // namespace

zvLogLevel _zvLog_Level = ZVLOGLEVEL_INFO + 1;

// Ours at every level, the library's from warnings on.
int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) {
  return sDepth < kMostRecords && (aModule == kMyModule || aLevel <= ZVLOGLEVEL_WARNING);
}

zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  if (zvLog_WillLog(aLevel, aModule) == 0) return nullptr;
  Record &theRecord = sRecords[sDepth++];
  theRecord.mData = {aLevel, aModule, "", 0};
  theRecord.mLength = 0;
  theRecord.mText[0] = '\0';
  return &theRecord.mData;
}

void zvLog_Append_VF(const char *aFormat, va_list someArguments) {
  if (sDepth == 0) return;
  const KeepErrno theErrno;
  Record &theRecord = sRecords[sDepth - 1];
  const int theRoom = kMostText - theRecord.mLength;
  const int theLength = std::vsnprintf(theRecord.mText + theRecord.mLength, static_cast<size_t>(theRoom),
                                       aFormat, someArguments);
  if (theLength > 0) theRecord.mLength += theLength < theRoom ? theLength : theRoom - 1;
}

void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

// In one piece, so that the records of several threads do not mix.
void zvLog_End(zvLogData *aData) {
  if (sDepth == 0) return;
  const KeepErrno theErrno;
  char theLine[2 * kMostText + 200];
  char *theEnd =
      theLine + std::snprintf(theLine, 200, R"({"level":%d,"module":%d,"file":"%.120s","line":%u,"text":")",
                              aData->mLevel, aData->mModule, aData->mFile, unsigned{aData->mLine});
  for (const char theCharacter : std::string_view(sRecords[--sDepth].mText)) {
    if (theCharacter == '"' || theCharacter == '\\') *theEnd++ = '\\';
    if (static_cast<unsigned char>(theCharacter) >= ' ') *theEnd++ = theCharacter;
  }
  for (const char theCharacter : {'"', '}', '\n'})
    *theEnd++ = theCharacter;
  Write({theLine, static_cast<size_t>(theEnd - theLine)});
}

void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine) {
  zvLogData *const theData = zvLog_Begin(ZVLOGLEVEL_ERROR, ZVLOG_M_DEFAULT);
  if (theData == nullptr) return;
  theData->mFile = aFile;
  theData->mLine = aLine;
  zvLog_Append_F("assertion failed: %s", anExpression);
  zvLog_End(theData);
}

int main() {
  std::signal(SIGPIPE, SIG_IGN);  // which a write would raise when nobody reads any more
  ZVXLOG(ZVLOGLEVEL_INFO, kMyModule, F("a record of the program's own, with \"quotes\"\n"));
  const auto theFile = zv::File::Open("/nowhere/at all", zvFileOpenMode_Read);
  zv::Mutex().unlock();
  zvAssert(theFile.has_value());
  return theFile.error().Status() == kzvFileErrorNotFound ? 0 : 1;
}
