// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the examples in the comments of the public headers take for granted: every header, and names that a
// reader understands without a declaration.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

// All public headers come before this one.

extern zvOSMutex *theMutex;
extern zvOSCondition *theCondition;
extern zvOSCriticalSection *theSection;
extern zvOSSemaphore *sEnd;
extern zvSocketSelect *theSelect;
extern zvConfigFile_t *theConfigFile;
extern zvSocket theSocket, theListener;
extern zvFileFD aFD;
extern fd_set theReadSet;
extern sigset_t theMask;
extern struct sockaddr *theAddress;
extern uint32 thePeerAddress, theOwnAddress;
extern const char *thePath;
extern void *thePlayer, *theArguments;
extern int theQueueHasWork, theCount, theKey, theError, thePipe;
extern char theBuffer[512];
extern const zvLogLevel kLevel;
extern const zvLogModule kModule;

void Work(void *anArgument);
void GiveUp(zvSocket aSocket);
void Refuse(zvSocket aSocket);
void Accept(zvSocket aSocket);
