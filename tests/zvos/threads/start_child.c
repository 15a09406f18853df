/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A program that only needs the library: prints whether the unwinder is in the process at its start, and
 * whether it is once a thread that catches signals has been made.
 */
#include <zvOS/zvThread.h>

#include <link.h>
#include <stdio.h>
#include <string.h>

static int IsUnwinder(struct dl_phdr_info *anInfo, size_t aSize, void *aContext) {
  (void)aSize;
  (void)aContext;
  return strstr(anInfo->dlpi_name, "libgcc_s") != NULL;
}

static void Tell(const char *aWhen) {
  printf("%s: %s\n", aWhen, dl_iterate_phdr(IsUnwinder, NULL) != 0 ? "unwinder" : "no unwinder");
}

static void DoNothing(void *anArgument) {
  (void)anArgument;
}

static int MakeThread(void) {
  const zvOSThread_Data theData = {
      DoNothing, NULL, NULL, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *const theThread = zvThread_New(&theData);
  if (theThread == NULL) return 0;
  zvThread_Delete(theThread);
  return 1;
}

int main(void) {
  Tell("start");
  zvThread_SetAllThreadsCatchSignal(0);
  if (!MakeThread()) return 1;
  Tell("thread");
  zvThread_SetAllThreadsCatchSignal(1);
  if (!MakeThread()) return 1;
  Tell("thread that catches signals");
  return 0;
}
