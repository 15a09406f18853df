// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A log provider that is the last thing a crashing process needs: it hangs, faults or aborts, or does what a
// script says at each record and then prints it on standard error.

#include "Crash.h"

#include <zvLog/zvLog.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

volatile crash::Log sLog;
thread_local zvLogData sData;
void (*volatile sOnRecord)(const char *);

[[noreturn]] void Hang() {
  for (;;)
    pause();
}

__attribute__((format(printf, 1, 0))) void Append(const char *aFormat, va_list anArguments) {
  if (sLog == crash::Log::kHangInAppend) Hang();
  if (sLog == crash::Log::kFaultInAppend) FaultByReading();
  if (sLog == crash::Log::kAbortInAppend) abort();
  if (sLog != crash::Log::kScripted) return;

  char theText[2000];
  vsnprintf(theText, sizeof(theText), aFormat, anArguments);
  sOnRecord(theText);
  if (write(STDERR_FILENO, theText, strlen(theText)) < 0) Hang();
}

}  // namespace

zvLogLevel _zvLog_Level = 5;

zvLogData *zvLog_Begin(zvLogLevel, zvLogModule) {
  if (sLog == crash::Log::kHangInBegin) Hang();
  if (sLog == crash::Log::kFaultInBegin) FaultByReading();
  return &sData;
}

void zvLog_Append_F(const char *aFormat, ...) {
  va_list theArguments;
  va_start(theArguments, aFormat);
  Append(aFormat, theArguments);
  va_end(theArguments);
}

void zvLog_Append_VF(const char *aFormat, va_list anArguments) {
  Append(aFormat, anArguments);
}

void zvLog_End(zvLogData *) {
  if (sLog == crash::Log::kHangInEnd) Hang();
}

int zvLog_WillLog(zvLogLevel, zvLogModule) {
  return 1;
}

void _zvAssert(const char *, const char *, uint32) {}

void crash::SetLog(Log aLog) {
  sLog = aLog;
}

void crash::SetLogScript(void (*anOnRecord)(const char *)) {
  sOnRecord = anOnRecord;
  sLog = Log::kScripted;
}
