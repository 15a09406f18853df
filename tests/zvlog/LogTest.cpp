// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "LogTest.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace zvlogtest {

namespace {

// Losses of the test before are told to nobody.
void TellLosses() {
  const int theSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  const int theNothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(theNothing, STDERR_FILENO);
  Log(kzvLogLevel_Error, 0, "");
  dup2(theSaved, STDERR_FILENO);
  close(theNothing);
  close(theSaved);
}

void RestoreDefaults() {
  zvLog_SetSinkStandardError();
  zvLog_SetAssertAborts(0);
  zvLog_SetLevel(kzvLogLevel_Warning);
  zvLog_SetModuleName(300, nullptr);
  for (const int theModule : {0, 7, 21, 22, 25, 29, 42, 43, 53, 55, 57, 122, 300, 65535}) {
    zvLog_ResetModuleLevel(static_cast<zvLogModule>(theModule));
  }
  TellLosses();
}

}  // namespace

LogTest::LogTest() {
  RestoreDefaults();
}
LogTest::~LogTest() {
  RestoreDefaults();
}

void Log(zvLogLevel aLevel, zvLogModule aModule, const std::string &aText) {
  if (aLevel >= __atomic_load_n(&_zvLog_Level, __ATOMIC_RELAXED)) return;
  zvLogData *theData = zvLog_Begin(aLevel, aModule);
  if (theData == nullptr) return;
  theData->mFile = "player.c";
  theData->mLine = 7;
  zvLog_Append_F("%s", aText.c_str());
  zvLog_End(theData);
}

// A socket that keeps the boundaries of writes.
CaughtStandardError::CaughtStandardError() : mSaved(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
  int theEnds[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, theEnds) != 0) abort();
  mReader = theEnds[0];
  dup2(theEnds[1], STDERR_FILENO);
  close(theEnds[1]);
}

CaughtStandardError::~CaughtStandardError() {
  dup2(mSaved, STDERR_FILENO);
  close(mSaved);
  close(mReader);
}

std::vector<std::string> CaughtStandardError::Writes() {
  std::vector<std::string> theWrites;
  for (;;) {
    char theBuffer[8192];
    const ssize_t theCount = recv(mReader, theBuffer, sizeof(theBuffer), MSG_DONTWAIT);
    if (theCount <= 0) return theWrites;
    theWrites.emplace_back(theBuffer, static_cast<size_t>(theCount));
  }
}

Line Parse(const std::string &aLine) {
  Line theLine;
  tm theTime = {};
  int theMicroseconds = 0;
  int theTimeLength = 0;
  int theLength = 0;
  char theLevel[16];
  char theModule[48];
  const int theCount = sscanf(aLine.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%6dZ%n %15s %47s [%ld:%ld%n",
                              &theTime.tm_year, &theTime.tm_mon, &theTime.tm_mday, &theTime.tm_hour,
                              &theTime.tm_min, &theTime.tm_sec, &theMicroseconds, &theTimeLength, theLevel,
                              theModule, &theLine.mProcess, &theLine.mThread, &theLength);
  const size_t theNameAt = static_cast<size_t>(theLength);
  const size_t theNameEnd = aLine.find("] ", theNameAt);
  if (theCount != 11 || theTimeLength != 27 || theNameEnd == std::string::npos) return theLine;
  if (theNameEnd > theNameAt) theLine.mThreadName = aLine.substr(theNameAt + 1, theNameEnd - theNameAt - 1);

  const size_t thePlaceAt = theNameEnd + 2;
  const size_t theTextAt = aLine.find(' ', thePlaceAt) + 1;
  if (theTextAt == 0) return theLine;

  theTime.tm_year -= 1900;
  theTime.tm_mon -= 1;
  theLine.mTime = static_cast<double>(timegm(&theTime)) + theMicroseconds / 1e6;
  theLine.mLevel = theLevel;
  theLine.mModule = theModule;
  theLine.mPlace = aLine.substr(thePlaceAt, theTextAt - thePlaceAt - 1);
  theLine.mText = aLine.substr(theTextAt, aLine.size() - theTextAt - 1);
  theLine.mfWellFormed = aLine.find('\n') == aLine.size() - 1 && theLine.mPlace.back() == ':';
  if (theLine.mfWellFormed) theLine.mPlace.pop_back();
  return theLine;
}

std::vector<Line> ParseAll(const std::string &aText) {
  std::vector<Line> theLines;
  for (size_t theBegin = 0; theBegin < aText.size();) {
    const size_t theLineFeed = aText.find('\n', theBegin);
    const size_t theEnd = theLineFeed == std::string::npos ? aText.size() : theLineFeed + 1;
    theLines.push_back(Parse(aText.substr(theBegin, theEnd - theBegin)));
    theBegin = theEnd;
  }
  return theLines;
}

std::vector<std::string> TextsOf(const std::vector<std::string> &aLines) {
  std::vector<std::string> theTexts;
  for (const std::string &theLine : aLines)
    theTexts.push_back(Parse(theLine).mText);
  return theTexts;
}

std::vector<std::string> TextsOf(const std::vector<Line> &aLines) {
  std::vector<std::string> theTexts;
  for (const Line &theLine : aLines)
    theTexts.push_back(theLine.mText);
  return theTexts;
}

std::vector<std::string> TextsOfRecords(const std::vector<Line> &aLines) {
  std::vector<std::string> theTexts;
  for (const Line &theLine : aLines) {
    if (theLine.mfWellFormed) theTexts.push_back(theLine.mText);
  }
  return theTexts;
}

TempFolder::TempFolder() {
  const char *theRoot = getenv("TMPDIR");
  mPath = std::string(theRoot != nullptr ? theRoot : "/tmp") + "/zvlog.XXXXXX";
  if (mkdtemp(&mPath[0]) == nullptr) abort();
}

TempFolder::~TempFolder() {
  std::error_code theError;
  std::filesystem::remove_all(mPath, theError);
}

std::string ReadFile(const std::string &aPath) {
  std::ostringstream theText;
  theText << std::ifstream(aPath, std::ios::binary).rdbuf();
  return theText.str();
}

void WriteFile(const std::string &aPath, const std::string &aText) {
  std::ofstream theFile(aPath, std::ios::binary | std::ios::trunc);
  theFile << aText;
  if (!theFile.flush()) abort();
}

}  // namespace zvlogtest
