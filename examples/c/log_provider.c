// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A program that is its own log provider: it defines the functions of the log interface that records go
// through, and the library calls them in place of those of libzvLog. Each record becomes a line of JSON on
// standard output.
//
// What a provider promises (see <zvLog/zvLog.h>): records nest, each thread has its own, nothing is allocated
// or locked, and errno stays. So it works in the handler of a crash, too.

#include <zvOS/zvFile.h>
#include <zvOS/zvMutex.h>

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

enum { kMostRecords = 4, kMostText = 1000, kMyModule = 1000 };

typedef struct Record {
  zvLogData mData;
  int mLength;
  char mText[kMostText];
} Record;

static _Thread_local Record sRecords[kMostRecords];
static _Thread_local int sDepth;

zvLogLevel _zvLog_Level = ZVLOGLEVEL_INFO + 1;

// Ours at every level, the library's from warnings on.
int zvLog_WillLog(zvLogLevel aLevel, zvLogModule aModule) {
  return sDepth < kMostRecords && (aModule == kMyModule || aLevel <= ZVLOGLEVEL_WARNING);
}

zvLogData *zvLog_Begin(zvLogLevel aLevel, zvLogModule aModule) {
  if (!zvLog_WillLog(aLevel, aModule)) return NULL;
  Record *const theRecord = &sRecords[sDepth++];
  theRecord->mData = (zvLogData){aLevel, aModule, "", 0};
  theRecord->mLength = 0;
  theRecord->mText[0] = '\0';
  return &theRecord->mData;
}

void zvLog_Append_VF(const char *aFormat, va_list anArguments) {
  if (sDepth == 0) return;
  const int theError = errno;
  Record *const theRecord = &sRecords[sDepth - 1];
  const int theRoom = kMostText - theRecord->mLength;
  const int theLength =
      vsnprintf(theRecord->mText + theRecord->mLength, (size_t)theRoom, aFormat, anArguments);
  if (theLength > 0) theRecord->mLength += theLength < theRoom ? theLength : theRoom - 1;
  errno = theError;
}

void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  zvLog_Append_VF(aFormat, theArguments);
  va_end(theArguments);
}

// What cannot be written is dropped: a log does not end its program.
static void Write(const char *aText, size_t aLength) {
  while (aLength > 0) {
    const ssize_t theCount = write(STDOUT_FILENO, aText, aLength);
    if (theCount < 0 && errno == EINTR) continue;
    if (theCount <= 0) return;
    aText += theCount;
    aLength -= (size_t)theCount;
  }
}

// In one piece, so that the records of several threads do not mix.
void zvLog_End(zvLogData *aData) {
  if (sDepth == 0) return;
  const int theError = errno;
  const Record *const theRecord = &sRecords[--sDepth];
  char theLine[2 * kMostText + 200];
  int theLength =
      snprintf(theLine, 200, "{\"level\":%d,\"module\":%d,\"file\":\"%.120s\",\"line\":%u,\"text\":\"",
               aData->mLevel, aData->mModule, aData->mFile, (unsigned)aData->mLine);
  for (const char *theText = theRecord->mText; *theText != '\0'; ++theText) {
    if (*theText == '"' || *theText == '\\') theLine[theLength++] = '\\';
    if ((unsigned char)*theText >= ' ') theLine[theLength++] = *theText;
  }
  theLine[theLength++] = '"';
  theLine[theLength++] = '}';
  theLine[theLength++] = '\n';
  Write(theLine, (size_t)theLength);
  errno = theError;
}

void _zvAssert(const char *anExpression, const char *aFile, uint32 aLine) {
  zvLogData *const theData = zvLog_Begin(ZVLOGLEVEL_ERROR, ZVLOG_M_DEFAULT);
  if (theData == NULL) return;
  theData->mFile = aFile;
  theData->mLine = aLine;
  zvLog_Append_F("assertion failed: %s", anExpression);
  zvLog_End(theData);
}

int main(void) {
  signal(SIGPIPE, SIG_IGN);  // which a write would raise when nobody reads any more
  ZVXLOG(ZVLOGLEVEL_INFO, kMyModule, F("a record of the program's own, with \"quotes\"\n"));
  zvFileFD theFile;
  const int theStatus = zvFile_Open("/nowhere/at all", zvFileOpenMode_Read, 0, &theFile);
  zvOSMutex *theMutex = zvMutex_New();
  zvMutex_Unlock(theMutex);
  zvMutex_Delete(theMutex);
  zvAssert(theStatus == 0);
  return theStatus == kzvFileErrorNotFound ? 0 : 1;
}
