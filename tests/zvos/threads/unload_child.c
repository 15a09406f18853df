/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A program that loads the library when it runs, as plug-ins bring it, has one of its threads, and unloads
 * it: prints what is left of the handler that the thread installed, and raises its signal.
 *
 *   unload_child LIBRARY
 */
#include <zvOS/zvThread.h>

#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef void (*Handler)(int);

static void Work(void *anArgument) {
  *(int *)anArgument = 1;
}

static void *Need(void *aPointer, const char *aWhat) {
  if (aPointer != NULL) return aPointer;
  fprintf(stderr, "%s: %s\n", aWhat, dlerror());
  exit(2);
}

/* ISO C knows no way from an object to a function. */
#define ZVTEST_FUNCTION(variable, name)                             \
  do {                                                              \
    void *const theSymbol_ = Need(dlsym(theLibrary, #name), #name); \
    memcpy(&(variable), &theSymbol_, sizeof(theSymbol_));           \
  } while (0)

static void RunThread(void *theLibrary) {
  zvOSThread *(*theNew)(const zvOSThread_Data *);
  int (*theRun)(zvOSThread *);
  int (*theWait)(zvOSThread *);
  void (*theDelete)(zvOSThread *);
  int theWorked = 0;
  zvOSThread_Data theData = {Work, NULL, NULL, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *theThread;
  theData.mThreadArgs = &theWorked;
  ZVTEST_FUNCTION(theNew, zvThread_New);
  ZVTEST_FUNCTION(theRun, zvThread_Run);
  ZVTEST_FUNCTION(theWait, zvThread_Wait);
  ZVTEST_FUNCTION(theDelete, zvThread_Delete);
  theThread = theNew(&theData);
  if (theThread == NULL || theRun(theThread) != 0 || theWait(theThread) != 0 || theWorked != 1) exit(3);
  theDelete(theThread);
}

int main(int aCount, char **someArguments) {
  void *const theLibrary = Need(dlopen(aCount == 2 ? someArguments[1] : "", RTLD_NOW), "dlopen");
  struct sigaction theAction;
  void *theHandler;
  Dl_info theInfo;
  RunThread(theLibrary);
  if (sigaction(SIGFPE, NULL, &theAction) != 0 || theAction.sa_handler == SIG_DFL) return 4;
  if (dlclose(theLibrary) != 0) return 5;

  memcpy(&theHandler, &theAction.sa_handler, sizeof(theHandler));
  printf("%s\n",
         dladdr(theHandler, &theInfo) != 0 && theInfo.dli_sname != NULL ? theInfo.dli_sname : "nothing");
  fflush(stdout);
  raise(SIGFPE);
  return 0;
}
