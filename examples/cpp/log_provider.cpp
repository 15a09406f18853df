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

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr int kMostRecords = 4;
constexpr zvLogModule kMyModule = 1000;

struct KeepErrno {
  ~KeepErrno() { errno = mError; }
  const int mError = errno;
};

// A text that ends where its memory does.
template <size_t kSize>
struct Line {
  char mText[kSize];
  size_t mLength = 0;

  void Add(char aCharacter) {
    if (mLength < kSize) mText[mLength++] = aCharacter;
  }
  void AddFormatted(const char *aFormat, va_list someArguments) {
    const int theLength = std::vsnprintf(mText + mLength, kSize - mLength, aFormat, someArguments);
    if (theLength > 0) mLength = std::min(mLength + static_cast<size_t>(theLength), kSize - 1);
  }
};

struct Record {
  zvLogData mData;
  Line<1000> mText;
};

thread_local Record sRecords[kMostRecords];
thread_local int sDepth;

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
  theRecord.mText.mLength = 0;
  return &theRecord.mData;
}

void zvLog_Append_VF(const char *aFormat, va_list someArguments) {
  const KeepErrno theErrno;
  if (sDepth > 0) sRecords[sDepth - 1].mText.AddFormatted(aFormat, someArguments);
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
  const auto &theText = sRecords[--sDepth].mText;
  Line<2400> theLine;
  const int theLength =
      std::snprintf(theLine.mText, 200,
                    R"({"level":%d,"module":%d,"file":"%.120s",)"
                    R"("line":%u,"text":")",
                    aData->mLevel, aData->mModule, aData->mFile, static_cast<unsigned>(aData->mLine));
  theLine.mLength = static_cast<size_t>(theLength);
  for (const char theCharacter : std::string_view(theText.mText, theText.mLength)) {
    if (theCharacter == '"' || theCharacter == '\\') theLine.Add('\\');
    if (static_cast<unsigned char>(theCharacter) >= ' ') theLine.Add(theCharacter);
  }
  for (const char theCharacter : {'"', '}', '\n'})
    theLine.Add(theCharacter);
  if (write(STDOUT_FILENO, theLine.mText, theLine.mLength) < 0) _exit(1);
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
  ZVXLOG(ZVLOGLEVEL_INFO, kMyModule, F("a record of the program's own, with \"quotes\"\n"));
  const auto theFile = zv::File::Open("/nowhere/at all", zvFileOpenMode_Read);
  zv::Mutex().unlock();
  zvAssert(theFile.has_value());
  return theFile.error().Status() == kzvFileErrorNotFound ? 0 : 1;
}
