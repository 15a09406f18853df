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
#include <zvOS/zvSocketTracker.h>

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

typedef struct Worker {
  zvProcessFD mProcess;
  int mPipe;
} Worker;

// A new worker in place of the former one, if there was any. It inherits one end of a pipe, whose number its
// command line names, and writes a byte when it is ready. When it ends before, so does the pipe.
static int StartWorker(Worker *aWorker, const char *aCommand) {
  if (aWorker->mPipe >= 0) zvPipe_Close(aWorker->mPipe, 1);
  zvProcess_Close(aWorker->mProcess);
  *aWorker = (Worker){NULL, -1};
  int theEnds[2];
  if (zvPipe_Pair(theEnds, ZVPIPE_DEFAULT) != 0) return 0;
  aWorker->mPipe = theEnds[0];
  fcntl(theEnds[0], F_SETFD, FD_CLOEXEC);  // for us alone: the worker ends when we have closed it
  char *theCommand = zv_mnprintf("%s %d", aCommand, theEnds[1]);
  // To write to: what the worker prints goes where our own output goes.
  if (theCommand != NULL) zvProcess_Open(theCommand, zvProcessOpenMode_Write, &aWorker->mProcess);
  free(theCommand);
  close(theEnds[1]);  // zvPipe_Close would end the worker's, too
  char theByte;
  return zvPipe_Read(theEnds[0], &theByte, 1) == 1;
}

static int ReplaceWorker(Worker *aWorker, const char *aCommand) {
  for (int i = 0; i < 3; ++i)
    if (StartWorker(aWorker, aCommand)) return 1;
  printf("three workers have ended before they were ready\n");
  return 0;
}

// What cannot be sent stays open, and is for the next worker.
static int Supervise(zvSocket aListener, const char *aCommand) {
  Worker theWorker = {NULL, -1};
  if (!ReplaceWorker(&theWorker, aCommand)) return 1;
  for (;;) {
    const zvSocket theClient = zvSocketAccept(aListener, NULL, NULL, "supervisor");
    if (theClient == kzvSocketInvalid) continue;
    SOCKETTRACKER_REMOVE(theClient);  // zvPipe_SendFD closes it and does not tell the socket table
    while (zvPipe_SendFD(theWorker.mPipe, theClient) != 0) {
      printf("the worker has ended\n");
      if (!ReplaceWorker(&theWorker, aCommand)) return 1;
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
  int theStatus = 1;
  if (theListener != kzvSocketInvalid && zvSocketListen(theListener, 5, "supervisor") == 0 &&
      zvSocketGetSockName(theListener, NULL, &thePort, "supervisor") == 0) {
    printf("listening on port %u\n", thePort);
    theStatus = Supervise(theListener, aCommand);
  }
  if (theListener != kzvSocketInvalid) zvSocketClose(theListener, "supervisor");
  zvSingleInstanceChecker_Delete(theInstance);
  return theStatus;
}

static int RunWorker(const char *aPipe) {
  char *theEnd;
  const int thePipe = (int)strtol(aPipe, &theEnd, 10);
  if (theEnd == aPipe || *theEnd != '\0' || zvPipe_Write(thePipe, "", 1) != 1) return 1;
  int theClient;
  while ((theClient = zvPipe_RecvFD(thePipe)) >= 0) {
    char theText[64];
    const int theLength = snprintf(theText, sizeof(theText), "process %d at your service\n", getpid());
    zvSocketSend(theClient, theText, theLength, 0, "worker");
    zvSocketClose(theClient, "worker");
  }
  zvPipe_Close(thePipe, 1);
  return 0;
}

int main(int aCount, char **someArguments) {
  setvbuf(stdout, NULL, _IOLBF, 0);
  if (aCount == 3 && strcmp(someArguments[1], "--worker") == 0) return RunWorker(someArguments[2]);
  if (aCount < 2 || aCount > 3 || someArguments[1][0] == '-') {
    fputs("usage: supervisor NAME [COMMAND]\n", stderr);
    return 2;
  }
  if (aCount > 2) return RunSupervisor(someArguments[1], someArguments[2]);
  char *theProgram = zvPath_GetApplicationFullPath();
  char *theCommand = zv_mnprintf("exec '%s' --worker", theProgram);
  const int theStatus = theCommand != NULL ? RunSupervisor(someArguments[1], theCommand) : 1;
  free(theCommand);
  free(theProgram);
  return theStatus;
}
