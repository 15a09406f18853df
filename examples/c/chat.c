// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A chat server: what one client says, all others hear. A policy says who may connect, the table of sockets
// goes to the log at every change, and SIGTERM or SIGINT ends it in good order.

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketSelect.h>
#include <zvOS/zvThread.h>

#include <signal.h>
#include <stdio.h>

static const char kUsage[] = "usage: chat [POLICY]  3, the default: this machine; 2: all others; 1: all\n";
enum { kMostClients = 40 };
static zvSocket sClients[kMostClients];
static int sCount = 0;
static sigset_t sEndSignals;

// A handler may not trigger a wait; a thread may.
static void WaitForSignal(void *aSelect) {
  int theSignal;
  sigwait(&sEndSignals, &theSignal);
  zvSocketSelect_Trigger(aSelect);
}

static void Drop(int anIndex) {
  zvSocketClose(sClients[anIndex], "chat client");
  sClients[anIndex] = sClients[--sCount];
}

// Nobody is waited for: who does not keep up is dropped. From the end, as dropping moves the last one.
static void SendToOthers(zvSocket aSender, const char *aText, int aLength) {
  for (int i = sCount - 1; i >= 0; --i) {
    if (sClients[i] == aSender) continue;
    if (zvSocketSend(sClients[i], aText, aLength, MSG_DONTWAIT, "chat client") != aLength) Drop(i);
  }
}

static void Admit(zvSocket aListener, zvSocketPolicy *aPolicy) {
  const zvSocket theClient = zvSocketAccept(aListener, NULL, NULL, "chat client");
  if (theClient == kzvSocketInvalid) return;
  long thePeer, theOwn;
  unsigned short thePort;
  if (sCount < kMostClients && zvSocketGetPeerName(theClient, &thePeer, &thePort, "chat client") == 0 &&
      zvSocketGetSockName(theClient, &theOwn, &thePort, "chat client") == 0 &&
      zvSocketPolicy_AcceptConnection(aPolicy, zvSocket_htonl((uint32)thePeer),
                                      zvSocket_htonl((uint32)theOwn))) {
    sClients[sCount++] = theClient;
    return;
  }
  printf("refused\n");
  zvSocketClose(theClient, "chat client");
}

static void Hear(int anIndex, fd_set *aSet) {
  char theText[1024];
  FD_CLR(sClients[anIndex], aSet);
  const int theLength = zvSocketRecv(sClients[anIndex], theText, sizeof(theText), 0, "chat client");
  if (theLength > 0) SendToOthers(sClients[anIndex], theText, theLength);
  if (theLength <= 0) Drop(anIndex);
}

// Until a signal comes. Dropping moves the last one: clients are heard from the end, and nobody twice.
static void Serve(zvSocket aListener, zvSocketPolicy *aPolicy, zvSocketSelect *aSelect) {
  for (;;) {
    fd_set theSet;
    FD_ZERO(&theSet);
    FD_SET(aListener, &theSet);
    int theHighest = aListener, afTriggered;
    for (int i = 0; i < sCount; ++i) {
      FD_SET(sClients[i], &theSet);
      if (sClients[i] > theHighest) theHighest = sClients[i];
    }
    if (zvSocketSelect_Select(aSelect, &theSet, NULL, NULL, theHighest, NULL, &afTriggered) < 0) continue;
    if (afTriggered) return;
    for (int i = sCount - 1; i >= 0; --i)
      if (i < sCount && FD_ISSET(sClients[i], &theSet)) Hear(i, &theSet);
    if (FD_ISSET(aListener, &theSet)) Admit(aListener, aPolicy);
    printf("%d here\n", sCount);
  }
}

int main(int aCount, char **someArguments) {
  const char *theKind = aCount > 1 ? someArguments[1] : "3";
  if (aCount > 2 || theKind[0] < '1' || theKind[0] > '3' || theKind[1] != '\0') {
    fputs(kUsage, stderr);
    return 2;
  }
  setvbuf(stdout, NULL, _IOLBF, 0);
  zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRACKER, kzvLogLevel_Debug);
  sigemptyset(&sEndSignals);
  sigaddset(&sEndSignals, SIGTERM);
  sigaddset(&sEndSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &sEndSignals, NULL);
  zvSocketPolicy *thePolicy = zvSocketPolicy_New((uint32)(theKind[0] - '0'), NULL);
  zvSocketSelect *theSelect = zvSocketSelect_New();
  uint16 thePort = 0;
  const zvSocket theListener = zvSocket_GetTCPSocket(0, &thePort);
  const zvOSThread_Data theData = {.mThreadFunc = WaitForSignal, .mThreadArgs = theSelect};
  zvOSThread *theThread = theSelect != NULL ? zvThread_New(&theData) : NULL;
  if (thePolicy == NULL || theThread == NULL || theListener == kzvSocketInvalid ||
      zvThread_Run(theThread) != 0 || zvSocketListen(theListener, 5, "chat") != 0)
    return 1;
  printf("listening on port %u\n", thePort);
  Serve(theListener, thePolicy, theSelect);
  SendToOthers(kzvSocketInvalid, "bye\n", 4);
  printf("ended with %d here\n", sCount);
  while (sCount > 0)
    Drop(sCount - 1);
  zvSocketClose(theListener, "chat");
  zvThread_Wait(theThread);
  zvThread_Delete(theThread);
  zvSocketSelect_Delete(theSelect);
  zvSocketPolicy_Delete(thePolicy);
  return 0;
}
