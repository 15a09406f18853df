// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Gives each plug-in a thread. One that crashes takes the host with it, but not before the log has its
// back-trace and the crash file the rest: the report says whose function it was.
//
//   plugin_host PLUGIN...      each has a function: int Plugin_Run(const char *aName)

#include <zvOS/zvPlugin.h>
#include <zvOS/zvThread.h>

#include <stdio.h>
#include <stdlib.h>

typedef int (*RunFunction)(const char *aName);

typedef struct Guest {
  const char *mName;
  zvOSPluginHandle mPlugin;
  RunFunction mRun;
  zvOSThread *mThread;
  int mResult;
} Guest;

static void Run(void *aGuest) {
  Guest *const theGuest = aGuest;
  theGuest->mResult = theGuest->mRun(theGuest->mName);
}

// What it has is released by Leave, also when it could not begin.
static int Begin(Guest *aGuest, const char *aName) {
  aGuest->mName = aName;
  aGuest->mPlugin = zvPlugin_Load(aName);
  if (aGuest->mPlugin == NULL) return 0;
  // The way from an object pointer to a function that C leaves open and POSIX does not.
  *(zvOSPluginSymbol *)&aGuest->mRun = zvPlugin_GetSymbol(aGuest->mPlugin, "Plugin_Run");
  if (aGuest->mRun == NULL) return 0;

  zvOSThread_Data theData = {Run, NULL, aGuest, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  aGuest->mThread = zvThread_New(&theData);
  return aGuest->mThread != NULL && zvThread_Run(aGuest->mThread) == zvThread_Status_NoError;
}

static void Leave(Guest *aGuest) {
  if (aGuest->mThread != NULL) zvThread_Wait(aGuest->mThread);
  zvThread_Delete(aGuest->mThread);
  if (aGuest->mPlugin != NULL) zvPlugin_Unload(aGuest->mPlugin);
}

int main(int aCount, char **someArguments) {
  if (aCount < 2) {
    fputs("usage: plugin_host PLUGIN...\n", stderr);
    return 2;
  }
  const int theCount = aCount - 1;
  Guest *theGuests = calloc((size_t)theCount, sizeof(Guest));
  if (theGuests == NULL) return 1;
  int theStatus = 0;
  for (int i = 0; i < theCount; ++i) {
    if (Begin(&theGuests[i], someArguments[i + 1])) continue;
    printf("%s: not begun\n", theGuests[i].mName);
    theStatus = 1;
  }
  for (int i = 0; i < theCount; ++i) {
    const int afBegun = theGuests[i].mThread != NULL;
    Leave(&theGuests[i]);
    if (afBegun) printf("%s: %d\n", theGuests[i].mName, theGuests[i].mResult);
  }
  free(theGuests);
  return theStatus;
}
