/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A program that uses the log library as C programs do: it logs one message of every level under
 * three modules, and prints what it sees of the levels. Arguments, in order:
 *
 *   level=<number>   writes _zvLog_Level first
 *   name=<name>      names module 42 first
 *   assert           ends with a failed assertion
 */
#include <zvLog/zvConfigFile.h>
#include <zvLog/zvLog.h>
#include <zvLog/zvLogSettings.h>
#include <zvLog/zvPtrList.h>

#include <stdio.h>
#include <string.h>

static void LogOne(zvLogLevel aLevel, zvLogModule aModule) {
  zvLogData *theData;
  if (aLevel >= _zvLog_Level) return;
  theData = zvLog_Begin(aLevel, aModule);
  if (theData == NULL) return;
  theData->mFile = __FILE__;
  theData->mLine = (uint32)__LINE__;
  zvLog_Append_F("level %u of module %u\n", (unsigned)aLevel, (unsigned)aModule);
  zvLog_End(theData);
}

int main(int aCount, char **anArguments) {
  static const zvLogModule kModules[] = {0, 21, 42};
  int theIndex;
  for (theIndex = 1; theIndex < aCount; ++theIndex) {
    if (strncmp(anArguments[theIndex], "level=", 6) == 0) {
      _zvLog_Level = (zvLogLevel)strtoul(anArguments[theIndex] + 6, NULL, 10);
    }
    if (strncmp(anArguments[theIndex], "name=", 5) == 0) zvLog_SetModuleName(42, anArguments[theIndex] + 5);
  }
  for (theIndex = 0; theIndex < 3; ++theIndex) {
    zvLogLevel theLevel;
    for (theLevel = kzvLogLevel_Error; theLevel <= kzvLogLevel_Debug; ++theLevel) {
      LogOne(theLevel, kModules[theIndex]);
    }
  }
  printf("gate %u, global level %u\n", (unsigned)_zvLog_Level, (unsigned)zvLog_GetLevel());
  fflush(stdout);
  if (aCount > 1 && strcmp(anArguments[aCount - 1], "assert") == 0) _zvAssert("theCount > 0", "player.c", 31);
  return 0;
}
