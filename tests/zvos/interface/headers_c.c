/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* The public headers together in one C99 program, and the macros that C callers use. */

#include <zvOS/zvAssert.h>
#include <zvOS/zvBinaryRevision.h>
#include <zvOS/zvCondition.h>
#include <zvOS/zvConsolePlatform.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvDebug.h>
#include <zvOS/zvDefaultDefines.h>
#include <zvOS/zvDefines.h>
#include <zvOS/zvDir.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvGlobal.h>
#include <zvOS/zvLocale.h>
#include <zvOS/zvLogDefines.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvMACAddress.h>
#include <zvOS/zvMagicNumber.h>
#include <zvOS/zvMonoliticTime.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvPipe.h>
#include <zvOS/zvPlatform.h>
#include <zvOS/zvPlugin.h>
#include <zvOS/zvProcess.h>
#include <zvOS/zvRandStd.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvSingleInstanceChecker.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvSocketAddress.h>
#include <zvOS/zvSocketIGMP.h>
#include <zvOS/zvSocketInterfaces.h>
#include <zvOS/zvSocketLinkStatus.h>
#include <zvOS/zvSocketLog.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>
#include <zvOS/zvSocketSelect.h>
#include <zvOS/zvSocketTracker.h>
#include <zvOS/zvThread.h>
#include <zvOS/zvTime.h>
#include <zvOS/zvTypes.h>
#include <zvOS/zvUI.h>
#include <zvOS/zvUser.h>
#include <zvOS/zvVersion.h>

#include <stdio.h>
#include <string.h>

ZVLOG_WITH_MODULE_IF(FILE, 1)

zvCompileTimeAssert(sizeof(uint32) == 4);

#if ZVOS_VERSION_NUMBER < 10000
#error "the version is no number for the preprocessor"
#endif
zvCompileTimeAssert(sizeof(ZVOS_VERSION_STRING) >= sizeof("1.0.0"));

struct Record {
  uint32 _mMagicNumber;
};

int ZvTestMutexFromC(void);
void ZvTestLogFromC(int aNumber);
void ZvTestAssertFromC(void);

/* Returns 0 when every step of a mutex's life succeeds. */
int ZvTestMutexFromC(void) {
  zvOSMutex *theMutex = zvMutex_New();
  int theFailures = 0;
  if (theMutex == NULL) return 1;
  if (zvMutex_Lock(theMutex) != zvMutex_Status_NoError) ++theFailures;
  if (!zvMutex_IsHeld(theMutex)) ++theFailures;
  if (zvMutex_Unlock(theMutex) != zvMutex_Status_NoError) ++theFailures;
  zvMutex_Delete(theMutex);
  return theFailures;
}

void ZvTestLogFromC(int aNumber) {
  ZV_ERR(F("number %d\n", aNumber));
  if (aNumber > 0)
    ZVLOG_WARN(TCP, F("positive\n"));
  else
    ZV_INFO(F("not positive\n"));
  Log_Info("number %d\n", aNumber);
}

void ZvTestAssertFromC(void) {
  struct Record theRecord = {kzvThread_Magic};
  struct Record *theHandle = &theRecord;
  char *theText = (char *)malloc(1);
  ZVMAGICNUMBER_CHECK(theHandle, kzvThread_Magic);
  ZVMAGICNUMBER_CHECK(theHandle, kzvMutex_Magic);
  zvSafeFree(theText);
  zvAssert(theText == NULL);
  zvAssert(theText != NULL);
  zvAssertFail("Not yet implemented");
}

struct PackedAddress {
  char mByte;
  uint32 mAddress;
} __attribute__((packed));

int ZvTestPrintAddressesFromC(char *aText, size_t aSize);

/* Prints the same address from wherever one can lie; returns how often. */
int ZvTestPrintAddressesFromC(char *aText, size_t aSize) {
  static const uint8 kBytes[4] = {1, 2, 253, 254};
  uint32 theVariable;
  memcpy(&theVariable, kBytes, sizeof(theVariable));
  {
    const uint32 theConstant = theVariable;
    const uint32 theArray[2] = {0, theVariable};
    const uint32 *thePointer = theArray + 1;
    struct sockaddr_in theAddress;
    struct PackedAddress thePacked = {1, 0};
    theAddress.sin_addr.s_addr = theVariable;
    thePacked.mAddress = theVariable;
    snprintf(aText, aSize, "%u.%u.%u.%u %u.%u.%u.%u %u.%u.%u.%u %u.%u.%u.%u %u.%u.%u.%u %u.%u.%u.%u ",
             zvSocket_IPPrintf(theVariable), zvSocket_IPPrintf(theConstant), zvSocket_IPPrintf(theArray[1]),
             zvSocket_IPPrintf(*thePointer), zvSocket_IPPrintf(zvSocket_GetIPAddress(theAddress)),
             zvSocket_IPPrintf(thePacked.mAddress));
  }
  return 6;
}
