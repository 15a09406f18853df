/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

// A thread, a lock that it misuses, and what the log says of it.

#include <zvOS/zvMutex.h>
#include <zvOS/zvThread.h>

#include <stdio.h>

static void Work(void *aMutex) {
  // Not held: refused, and logged on standard error.
  if (zvMutex_Unlock(aMutex) == zvMutex_Status_Error) puts("at work");
}

int main(void) {
  zvOSMutex *theMutex = zvMutex_New();
  zvOSThread_Data theData = {Work, NULL, theMutex, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *theThread = zvThread_New(&theData);
  if (theThread == NULL) return 1;
  zvThread_Run(theThread);
  zvThread_Wait(theThread);
  zvThread_Delete(theThread);
  zvMutex_Delete(theMutex);
  return 0;
}
