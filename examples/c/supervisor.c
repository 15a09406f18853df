// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A supervisor, of which there is one under a name: it takes connections, hands each to a worker process
// through a pipe, and starts another worker when that has died. When the supervisor ends, however that comes
// about, the name is free and the worker ends.
//
//   supervisor NAME [COMMAND]        COMMAND starts a worker: this program with --worker, if not given
//   supervisor --worker PIPE

#include <zvOS/zvPath.h>
#include <zvOS/zvPipe.h>
#include <zvOS/zvProcess.h>
#include <zvOS/zvSingleInstanceChecker.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvThread.h>

#include <stdio.h>
#include <string.h>

typedef struct Worker {
  zvProcessFD mProcess;
  int mPipe;
} Worker;

// A new worker in place of the former one, if there was any. It connects to the pipe that its command line
// names.
static int StartWorker(Worker *aWorker, const char *aCommand) {
  if (aWorker->mPipe >= 0) zvPipe_Close(aWorker->mPipe, 1);
  zvProcess_Close(aWorker->mProcess);
  *aWorker = (Worker){NULL, -1};

  char *theName = zvPipe_GenerateUniqueName("supervisor-");
  const int theListener = zvPipe_Listener(theName, ZVPIPE_DEFAULT);
  char *theCommand = zv_mnprintf("%s %s", aCommand, theName);
  // To write to: what the worker prints goes where our own output goes.
  if (theListener >= 0 && theCommand != NULL &&
      zvProcess_Open(theCommand, zvProcessOpenMode_Write, &aWorker->mProcess) == 0)
    aWorker->mPipe = zvPipe_Accept(theListener, ZVPIPE_DEFAULT);
  if (theListener >= 0) zvPipe_Close(theListener, 1);
  free(theCommand);
  free(theName);
  return aWorker->mPipe >= 0;
}

// What cannot be sent stays open, and is for the next worker.
static int Supervise(zvSocket aListener, const char *aCommand) {
  Worker theWorker = {NULL, -1};
  if (!StartWorker(&theWorker, aCommand)) return 1;
  for (;;) {
    const zvSocket theClient = zvSocketAccept(aListener, NULL, NULL, "supervisor");
    if (theClient == kzvSocketInvalid) continue;
    while (zvPipe_SendFD(theWorker.mPipe, theClient) != 0) {
      printf("the worker has ended\n");
      if (!StartWorker(&theWorker, aCommand)) return 1;
    }
  }
}

static int RunSupervisor(const char *aName, const char *aCommand) {
  zvOSSingleInstanceChecker *theInstance = zvSingleInstanceChecker_New(aName);
  if (theInstance == NULL || zvSingleInstanceChecker_Exists(theInstance)) {
    printf("the name %s cannot be had\n", aName);
    zvSingleInstanceChecker_Delete(theInstance);
    return 1;
  }
  uint16 thePort = 0;
  const zvSocket theListener = zvSocket_GetTCPSocket(INADDR_LOOPBACK, &thePort);
  long theAddress;
  int theStatus = 1;
  if (theListener != kzvSocketInvalid && zvSocketListen(theListener, 5, "supervisor") == 0 &&
      zvSocketGetSockName(theListener, &theAddress, &thePort, "supervisor") == 0) {
    printf("listening on port %u\n", thePort);
    theStatus = Supervise(theListener, aCommand);
  }
  if (theListener != kzvSocketInvalid) zvSocketClose(theListener, "supervisor");
  zvSingleInstanceChecker_Delete(theInstance);
  return theStatus;
}

static int RunWorker(const char *aPipeName) {
  const int thePipe = zvPipe_Connect(aPipeName, ZVPIPE_DEFAULT);
  int theClient;
  while ((theClient = zvPipe_RecvFD(thePipe)) >= 0) {
    char theText[64];
    const int theLength =
        snprintf(theText, sizeof(theText), "process %u at your service\n", zvThread_GetPID());
    zvSocketSend(theClient, theText, theLength, 0, "worker");
    zvSocketClose(theClient, "worker");
  }
  if (thePipe >= 0) zvPipe_Close(thePipe, 1);
  return 0;
}

int main(int aCount, char **someArguments) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  if (aCount == 3 && strcmp(someArguments[1], "--worker") == 0) return RunWorker(someArguments[2]);
  if (aCount < 2) return 2;
  if (aCount > 2) return RunSupervisor(someArguments[1], someArguments[2]);

  char *theProgram = zvPath_GetApplicationFullPath();
  char *theCommand = zv_mnprintf("exec '%s' --worker", theProgram);
  const int theStatus = theCommand != NULL ? RunSupervisor(someArguments[1], theCommand) : 1;
  free(theCommand);
  free(theProgram);
  return theStatus;
}
