// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the functions of the interface take and return, and which functions its macros call: programs are
// compiled with them, so none may change.

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
#include <zvOS/zvSocketDatagram.h>
#include <zvOS/zvSocketIGMP.h>
#include <zvOS/zvSocketLog.h>
#include <zvOS/zvSocketOptions.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>
#include <zvOS/zvSocketSelect.h>
#include <zvOS/zvSocketTracker.h>
#include <zvOS/zvSocketTypes.h>
#include <zvOS/zvThread.h>
#include <zvOS/zvTime.h>
#include <zvOS/zvTypes.h>
#include <zvOS/zvUI.h>
#include <zvOS/zvUser.h>
#include <zvOS/zvVersion.h>

#include <gtest/gtest.h>

#include "support/Support.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

namespace {

//
// Functions: name, result, arguments
//

template <typename Result, typename... Arguments>
struct Prototype {
  using Plain = Result(Arguments...);
  using WithLabel = Result(Arguments..., const char *);
};

#define FUNCTION(name, ...) \
  static_assert(std::is_same<decltype(name), Prototype<__VA_ARGS__>::Plain>::value, #name);
#define TWINS(name, ...)                \
  FUNCTION(name##_NoDebug, __VA_ARGS__) \
  static_assert(std::is_same<decltype(name##_Debug), Prototype<__VA_ARGS__>::WithLabel>::value, #name);
// clang-format off

// Locks.
FUNCTION(zvMutex_New, zvOSMutex *)
FUNCTION(zvMutex_Delete, void, zvOSMutex *)
FUNCTION(zvMutex_Lock, int, zvOSMutex *)
FUNCTION(zvMutex_Unlock, int, zvOSMutex *)
FUNCTION(zvMutex_IsHeld, int, zvOSMutex *)
FUNCTION(zvMutex_Posix_Get, pthread_mutex_t *, zvOSMutex *)
FUNCTION(zvMutex_Posix_Tag_Unheld, uint32, zvOSMutex *)
FUNCTION(zvMutex_Posix_Tag_Held, void, zvOSMutex *, uint32)
FUNCTION(zvCriticalSection_New, zvOSCriticalSection *)
FUNCTION(zvCriticalSection_Delete, void, zvOSCriticalSection *)
FUNCTION(zvCriticalSection_Enter, int, zvOSCriticalSection *)
FUNCTION(zvCriticalSection_Leave, int, zvOSCriticalSection *)
FUNCTION(zvCondition_New, zvOSCondition *)
FUNCTION(zvCondition_Delete, void, zvOSCondition *)
FUNCTION(zvCondition_Signal, int, zvOSCondition *)
FUNCTION(zvCondition_Broadcast, int, zvOSCondition *)
FUNCTION(zvCondition_Wait, int, zvOSCondition *, zvOSMutex *)
FUNCTION(zvCondition_WaitTimeout, int, zvOSCondition *, zvOSMutex *, uint32)
FUNCTION(zvSemaphore_New, zvOSSemaphore *, int)
FUNCTION(zvSemaphore_Delete, void, zvOSSemaphore *)
FUNCTION(zvSemaphore_Post, int, zvOSSemaphore *)
FUNCTION(zvSemaphore_Wait, int, zvOSSemaphore *)
FUNCTION(zvSemaphore_TryWait, int, zvOSSemaphore *)
FUNCTION(zvSemaphore_WaitTimeout, int, zvOSSemaphore *, uint32)

// Threads and time.
FUNCTION(zvThread_New, zvOSThread *, const zvOSThread_Data *)
FUNCTION(zvThread_Run, int, zvOSThread *)
FUNCTION(zvThread_Wait, int, zvOSThread *)
FUNCTION(zvThread_Delete, void, zvOSThread *)
FUNCTION(zvThread_Sleep, void, uint32)
FUNCTION(zvThread_SetPriority, int, uint16)
FUNCTION(zvThread_SetAllThreadsCatchSignal, void, int)
FUNCTION(zvThread_GetPID, uint32)
FUNCTION(zvThread_GetCurrentThreadID, uint32)
FUNCTION(zvThread_GetID, uint32, zvOSThread *)
FUNCTION(sThread_S_SignalHandler, void, int)
FUNCTION(zvTime_GetTimeOfDay, void, zvtimeval *)
FUNCTION(zvTime_GetTimeZone, int, zvtimezone *)
FUNCTION(zvTime_ConvertMacroDate, zvtime_t, const char *)
FUNCTION(zvTime_GetTickCount, uint32)
FUNCTION(zvMonoliticTime_GetTime, void, zvtimeval *)

// The process.
FUNCTION(zvGlobal_SetPtr, void, const char *, void *)
FUNCTION(zvGlobal_GetPtr, void *, const char *)
FUNCTION(zvGlobal_SetFunctionPtr, void, const char *, zvDefaultFunctionPtr)
FUNCTION(zvGlobal_GetFunctionPtr, zvDefaultFunctionPtr, const char *)
FUNCTION(zvLocale_Set, void, const char *)
FUNCTION(zvLocale_Get, const char *)
FUNCTION(zvLocale_isBig5User, int)
FUNCTION(zvUser_GetID, int64)
FUNCTION(zvOSRand_Rand, int16)
FUNCTION(zvOSRand_SetSeed, void, uint32)
FUNCTION(zvUI_DisplayToEndUser, int, const char *, const char *)
FUNCTION(zvUI_AskToEndUserYesNo, int, const char *, const char *, int)
FUNCTION(zvUI_GetApplicationDisplayName, char *)
FUNCTION(zvUI_GetApplicationVersion, char *)
FUNCTION(zvPlatform_getenv, char *, const char *)
FUNCTION(zvPlatform_setenv, int, const char *, const char *)
FUNCTION(zvPlatform_Launch, int, const char *, const char *)
FUNCTION(zvProcess_Open, int, const char *, zvProcessOpenMode, zvProcessFD *)
FUNCTION(zvProcess_Close, int, zvProcessFD)
FUNCTION(zvProcess_Read, int, zvProcessFD, void *, uint32)
FUNCTION(zvProcess_Write, int, zvProcessFD, const void *, uint32)
FUNCTION(zvProcess_IsAlive, int, zvProcessFD)
FUNCTION(zvProcess_IsRunning, int, const char *)
FUNCTION(zvProcess_Kill, int, const char *)
FUNCTION(zvSingleInstanceChecker_New, zvOSSingleInstanceChecker *, const char *)
FUNCTION(zvSingleInstanceChecker_Exists, int, zvOSSingleInstanceChecker *)
FUNCTION(zvSingleInstanceChecker_Error, int, zvOSSingleInstanceChecker *)
FUNCTION(zvSingleInstanceChecker_Delete, void, zvOSSingleInstanceChecker *)
FUNCTION(zvPlugin_GetExtension, const char *)
FUNCTION(zvPlugin_GetDebugReleaseSuffix, const char *)
FUNCTION(zvPlugin_GetDefaultPath, char *)
FUNCTION(zvPlugin_Load, zvOSPluginHandle, const char *)
FUNCTION(zvPlugin_Unload, void, zvOSPluginHandle)
FUNCTION(zvPlugin_GetSymbol, zvOSPluginSymbol, zvOSPluginHandle, const char *)

// Files, directories, paths.
FUNCTION(zvFile_Open, int, const char *, zvFileOpenMode, int, zvFileFD *)
FUNCTION(zvFile_Access, int, const char *, zvFileAccessMode)
FUNCTION(zvFile_Close, int, zvFileFD)
FUNCTION(zvFile_EndOfFile, int, zvFileFD)
FUNCTION(zvFile_Read, int, zvFileFD, void *, uint32)
FUNCTION(zvFile_Write, int, zvFileFD, const void *, uint32)
FUNCTION(zvFile_Seek, int, zvFileFD, zvFileOffset, zvFileSeekMode)
FUNCTION(zvFile_Tell, int, zvFileFD, zvFileOffset *)
FUNCTION(zvFile_ChangeSize, int, zvFileFD, zvFileOffset)
FUNCTION(zvFile_GetSize, int, zvFileFD, zvFileOffset *)
FUNCTION(zvFile_Flush, int, zvFileFD)
FUNCTION(zvFile_Remove, int, const char *)
FUNCTION(zvFile_HasAttribute, int, const char *, zvFileAttributes)
FUNCTION(zvFile_Exists, int, const char *)
FUNCTION(zvFile_GetTimes, int, const char *, zvtimeval *, zvtimeval *, zvtimeval *)
FUNCTION(zvFile_SetModificationTime, int, const char *, zvtimeval *)
FUNCTION(zvFile_Rename, int, const char *, const char *)
FUNCTION(zvFile_SetSize, int, const char *, zvFileOffset)
FUNCTION(zvDir_Exists, int, const char *)
FUNCTION(zvDir_Remove, int, const char *)
FUNCTION(zvDir_Create, int, const char *)
FUNCTION(zvDir_CreatePath, int, const char *)
FUNCTION(zvDir_GetTimes, int, const char *, zvtimeval *, zvtimeval *, zvtimeval *)
FUNCTION(zvDir_GetRootDirList, zvPtrList *)
FUNCTION(zvDirTraverser_New, zvDirTraverser *, const char *)
FUNCTION(zvDirTraverser_Delete, void, zvDirTraverser *)
FUNCTION(zvDirTraverser_Rewind, void, zvDirTraverser *)
FUNCTION(zvDirTraverser_GetDirPath, char *, zvDirTraverser *)
FUNCTION(zvDirTraverser_GetFirst, zvDirEntry *, zvDirTraverser *, const char *, int, int *)
FUNCTION(zvDirTraverser_GetNext, zvDirEntry *, zvDirTraverser *, int *)
FUNCTION(zvPath_Normalize, char *, const char *, int, int, const char *)
FUNCTION(zvPath_IsAbsolute, int, const char *)
FUNCTION(zvPath_GetTempDirPath, char *)
FUNCTION(zvPath_GetCacheDirPath, char *)
FUNCTION(zvPath_GetApplicationFullPath, char *)
FUNCTION(zvPath_GetApplicationPath, char *, int)
FUNCTION(zvPath_GetApplicationName, char *, int)
FUNCTION(zvPath_GetFunctionSharedLibraryPath, char *, zvDefaultFunctionPtr)
FUNCTION(zvPath_GetSystemFontPath, char *)
FUNCTION(zvPath_RealPath, char *, const char *)
FUNCTION(zvPath_GetType, int, const char *)
FUNCTION(zvPath_GetDefaultConfigPath, char *)
FUNCTION(zvPath_GetBinaryRevision, int, const char *, char **)
FUNCTION(Elf_ReadSectionHeader, int, zvFileFD, Elf32_Ehdr *, int, Elf32_Shdr *)
FUNCTION(Elf_ReadSectionData, int, zvFileFD, Elf32_Shdr *, char **)

// Sockets without a twin.
FUNCTION(zvSocketGetLastError, int)
FUNCTION(zvSocketSetLastError, void, int)
FUNCTION(zvSocketLastErrorIsWouldBlock, int)
FUNCTION(zvSocketLastErrorIsConnectionReset, int)
FUNCTION(zvSocketConnectUnreachable_NoDebug, int, zvSocket, sockaddr *, socklen_t)
FUNCTION(zvLog_Append_IPAddress, void, long)
FUNCTION(zvLog_Append_sockaddr, void, sockaddr *)
FUNCTION(zvSocketGetAddressFromDotForm, uint32, const char *)
FUNCTION(zvSocketGetAddressByName, uint32, const char *)
FUNCTION(zvSocketIsInterfaceMatching, int, zvSocketPolicy *, ifaddrs *, int)
FUNCTION(zvSocketGetInterfacesInfos, int, zvSocketPolicy *, uint32 **, uint32 **, uint32 **, char ***, int)
FUNCTION(zvSocketGetIPAddressList, int, zvSocketPolicy *, uint32 **, int)
FUNCTION(zvSocketGetIPAddressListAndMask, int, zvSocketPolicy *, uint32 **, uint32 **, uint32 **, int)
FUNCTION(zvSocketGetLocalHostIPAddressList, int, zvSocketPolicy *, uint32 **)
FUNCTION(zvSocketMapLocalIPAddressToLoopBack, uint32, zvSocketPolicy *, uint32)
FUNCTION(zvSocketIsLocalIPAddress, int, uint32)
FUNCTION(zvSocketIsMulticastIPAddress, int, const char *)
FUNCTION(zvSocketIsHostNameInIPDotForm, int, const char *)
FUNCTION(zvSocket_GetMACAddress, int, size_t, uint8 *)
FUNCTION(zvSocket_QueryARP, int, sockaddr *, void *, size_t *)
FUNCTION(zvSocket_LoopBackCheck, void)
FUNCTION(zvSocket_Init, int)
FUNCTION(zvSocket_UnInit, void)
FUNCTION(zvSocket_IsLinkProtected, int, int32)
FUNCTION(zvSocket_SetLinkProtectionCheckFunc, void, int (*)(int32))
static_assert(std::is_same<decltype(g_zvSocket_IsLinkProtected), int (*)(int32)>::value, "variable");
FUNCTION(zvSocket_InitSockAddr, void, sockaddr *, socklen_t, int)
FUNCTION(zvSocket_htonl, uint32, uint32)
FUNCTION(zvSocket_ntohl, uint32, uint32)
FUNCTION(zvSocket_htons, uint16, uint16)
FUNCTION(zvSocket_ntohs, uint16, uint16)
FUNCTION(zvSocket_GetUDPSocket, zvSocket, int32, uint16 *)
FUNCTION(zvSocket_GetTCPSocket, zvSocket, int32, uint16 *)
FUNCTION(zvSocketSelect_New, zvSocketSelect *)
FUNCTION(zvSocketSelect_Delete, void, zvSocketSelect *)
FUNCTION(zvSocketSelect_Trigger, void, zvSocketSelect *)
FUNCTION(zvSocketSelect_Prepare, int, zvSocketSelect *, fd_set *)
FUNCTION(zvSocketSelect_Reset, int, zvSocketSelect *, fd_set *)
FUNCTION(zvSocketSelect_Select, int, zvSocketSelect *, fd_set *, fd_set *, fd_set *, int, timeval *, int *)
FUNCTION(zvSocketSelect_SelectFD, int, fd_set *, fd_set *, fd_set *, int, timeval *)

// Services of sockets.
FUNCTION(zvSocketTracker_Add, void, zvSocket, int, const char *)
FUNCTION(zvSocketTracker_Connect, void, zvSocket)
FUNCTION(zvSocketTracker_Listen, void, zvSocket)
FUNCTION(zvSocketTracker_Remove, void, zvSocket)
FUNCTION(zvSocketTracker_Send, void, zvSocket, int)
FUNCTION(zvSocketTracker_Recv, void, zvSocket, int)
FUNCTION(zvSocketTracker_Dump, void)
FUNCTION(zvSocketPolicy_New, zvSocketPolicy *, uint32, void *)
FUNCTION(zvSocketPolicy_Delete, void, zvSocketPolicy *)
FUNCTION(zvSocketPolicy_Configure, void, zvSocketPolicy *, zvConfigFile_t *, const char *)
FUNCTION(zvSocketPolicy_ChangePolicy_IP, void, zvSocketPolicy *, int)
FUNCTION(zvSocketPolicy_SetFunc, void, zvSocketPolicy *, zvSocketAcceptConnectionFunc,
         zvSocketGetIPAddressListFunc, zvSocketMapLocalIPAddressToLoopBackFunc)
FUNCTION(zvSocketPolicy_AcceptConnection, int, zvSocketPolicy *, uint32, uint32)
FUNCTION(zvSocketPolicy_GetIPAddressList, int, zvSocketPolicy *, uint32 **, int)
FUNCTION(zvSocketPolicy_MapLocalIPAddressToLoopBack, uint32, zvSocketPolicy *, uint32)
FUNCTION(zvSocketPolicy_IsValidIF, int, zvSocketPolicy *, const char *)
FUNCTION(zvSocketPolicy_GetUserData, void *, zvSocketPolicy *)
FUNCTION(zvSocketPolicy_GetQOS, zvSocketQOS, zvSocketPolicy *)
FUNCTION(zvSocketPolicy_Default_AcceptConnection, int, zvSocketPolicy *, uint32, uint32)
FUNCTION(zvSocketPolicy_Default_GetIPAddressList, int, zvSocketPolicy *, uint32 **, int)
FUNCTION(zvSocketPolicy_Default_MapLocalIPAddressToLoopBack, uint32, zvSocketPolicy *, uint32)
FUNCTION(zvSocketQOS_New, zvSocketQOS)
FUNCTION(zvSocketQOS_Delete, void, zvSocketQOS)
FUNCTION(zvSocketQOS_SetPriority, int, zvSocketQOS, zvSocket, int, const sockaddr *)
FUNCTION(zvSocketQOS_UnsetPriority, void, zvSocketQOS, zvSocket)
FUNCTION(_Log_Buffer_Open, void, zvSocket)
FUNCTION(_Log_Buffer_Send, void, zvSocket, const void *, uint32)
FUNCTION(_Log_Buffer_Data, void, zvSocket, const void *, uint32)
FUNCTION(_Log_Buffer_Close, void, zvSocket)
FUNCTION(zvSocketSendIGMP, int, uint32, uint32, uint8, uint8)
FUNCTION(zvSocketIGMP_JoinGroup, int, uint32)
FUNCTION(zvSocketIGMP_LeaveGroup, void, uint32)
FUNCTION(zvMACAddress_Get, int, size_t, uint8 *)
FUNCTION(_zvSocket_IsLinkProtected, int, uint32)

// Pipes, diagnosis, console.
FUNCTION(zvPipe_Pair, int, int *, int)
FUNCTION(zvPipe_Listener, int, const char *, int)
FUNCTION(zvPipe_Accept, int, int, int)
FUNCTION(zvPipe_Connect, int, const char *, int)
FUNCTION(zvPipe_SendFD, int, int, int)
FUNCTION(zvPipe_RecvFD, int, int)
FUNCTION(zvPipe_Write, int, int, const void *, size_t)
FUNCTION(zvPipe_Read, int, int, void *, size_t)
FUNCTION(zvPipe_Close, int, int, int)
FUNCTION(zvPipe_GenerateUniqueName, char *, const char *)
FUNCTION(zvDebug_BackTraceCurrent, void, int)
FUNCTION(zvDebug_GetBackTrace, int, char *, unsigned int)
FUNCTION(zvDebug_LogLibraryInfo, void, void *)
FUNCTION(zvDebug_SetThreadName, void, const char *)
FUNCTION(zvDebug_Break, void, const char *)
FUNCTION(zvConsolePlatform_Enable, void, int)
FUNCTION(zvConsolePlatform_Disable, void, int)
FUNCTION(zvConsolePlatform_OpenConsole, void, int)
FUNCTION(zvConsolePlatform_GetChar, uint8, FILE *)
FUNCTION(zvConsolePlatform_IsCharAvailable, int, FILE *)
FUNCTION(zvConsolePlatform_Flush, void, FILE *)

// Sockets with twins: the one that logs takes a label more.
TWINS(zvSocketBind, int, zvSocket, sockaddr *, socklen_t)
TWINS(zvSocketListen, int, zvSocket, int)
TWINS(zvSocketAccept, zvSocket, zvSocket, sockaddr *, socklen_t *)
TWINS(zvSocketConnect, int, zvSocket, sockaddr *, socklen_t)
TWINS(zvSocketSend, int, zvSocket, const char *, int, int)
TWINS(zvSocketRecv, int, zvSocket, char *, int, int)
TWINS(zvSocketRecvAvailable, int, zvSocket, int *)
TWINS(zvSocketShutdown, int, zvSocket)
TWINS(zvSocketSetReuseAddress, int, zvSocket)
TWINS(zvSocketSetBroadcast, int, zvSocket)
TWINS(zvSocketIOCtlSetBlock, int, zvSocket, int)
TWINS(zvSocketSetLinger, int, zvSocket, int)
TWINS(zvSocketSetMulticast, int, zvSocket, uint32)
TWINS(zvSocketSetTCPKeepAlive, int, zvSocket, int, int, int)
TWINS(zvSocketSetTCPNoDelay, int, zvSocket, int)
TWINS(zvSocketSetTimeOut, int, zvSocket, long, int, int)
TWINS(zvSocketSetSendBuffer, int, zvSocket, size_t)
TWINS(zvSocketSetRecvBuffer, int, zvSocket, size_t)
TWINS(zvSocketSetIPHeader, int, zvSocket, int)
TWINS(zvSocketSetTTL, int, zvSocket, unsigned char)
TWINS(zvSocketGetTTL, int, zvSocket, unsigned char *)
TWINS(zvSocketMulticastAdd, int, zvSocket, const char *, uint32)
TWINS(zvSocketMulticastDrop, int, zvSocket, const char *, uint32)
TWINS(zvSocketMulticastSetTTL, int, zvSocket, unsigned char)
TWINS(zvSocketMulticastSetLoop, int, zvSocket, int)
TWINS(zvSocketGetPeerName, int, zvSocket, long *, unsigned short *)
TWINS(zvSocketGetSockName, int, zvSocket, long *, unsigned short *)
TWINS(zvSocketSendUDP, int, zvSocket, sockaddr *, socklen_t, const char *, int, int)
TWINS(zvSocketRecvUDP, int, zvSocket, char *, int, int, sockaddr *, socklen_t *)
TWINS(zvSocketGetAddressInfo, int, const char *, uint32 *)
TWINS(zvSocket_GetHostName, int, char *, size_t)
FUNCTION(zvSocketOpen_NoDebug, zvSocket, int, int, int)
FUNCTION(zvSocketOpen_Debug, zvSocket, int, int, int, const char *, int)
FUNCTION(zvSocketClose_NoDebug, int, zvSocket)
FUNCTION(zvSocketClose_Debug, int, zvSocket, const char *, int)
// clang-format on
#undef TWINS
#undef FUNCTION

//
// Macros
//

// What is left of a macro's call when it is expanded.
#define TEXT_OF(...)   #__VA_ARGS__
#define EXPANSION(...) TEXT_OF(__VA_ARGS__)

struct Mapping {
  const char *mCall;
  const char *mExpansion;
};

// clang-format off
constexpr Mapping kMappings[] = {
    {"zvSocketOpen_Debug(a, b, c, label, 0)", EXPANSION(zvSocketOpen(a, b, c, label))},
    {"zvSocketClose_Debug(a, label, 0)", EXPANSION(zvSocketClose(a, label))},
    {"zvSocketConnectUnreachable_NoDebug(a, b, c)", EXPANSION(zvSocketConnectUnreachable(a, b, c, label))},
    {"zvSocket_GetHostName_Debug(a, b, label)", EXPANSION(zvSocketGetHostName(a, b, label))},
    {"zvSocketBind_Debug(a, b, c, label)", EXPANSION(zvSocketBind(a, b, c, label))},
    {"zvSocketListen_Debug(a, b, label)", EXPANSION(zvSocketListen(a, b, label))},
    {"zvSocketAccept_Debug(a, b, c, label)", EXPANSION(zvSocketAccept(a, b, c, label))},
    {"zvSocketConnect_Debug(a, b, c, label)", EXPANSION(zvSocketConnect(a, b, c, label))},
    {"zvSocketSend_Debug(a, b, c, d, label)", EXPANSION(zvSocketSend(a, b, c, d, label))},
    {"zvSocketRecv_Debug(a, b, c, d, label)", EXPANSION(zvSocketRecv(a, b, c, d, label))},
    {"zvSocketRecvAvailable_Debug(a, b, label)", EXPANSION(zvSocketRecvAvailable(a, b, label))},
    {"zvSocketShutdown_Debug(a, label)", EXPANSION(zvSocketShutdown(a, label))},
    {"zvSocketSetReuseAddress_Debug(a, label)", EXPANSION(zvSocketSetReuseAddress(a, label))},
    {"zvSocketSetBroadcast_Debug(a, label)", EXPANSION(zvSocketSetBroadcast(a, label))},
    {"zvSocketIOCtlSetBlock_Debug(a, b, label)", EXPANSION(zvSocketIOCtlSetBlock(a, b, label))},
    {"zvSocketSetLinger_Debug(a, b, label)", EXPANSION(zvSocketSetLinger(a, b, label))},
    {"zvSocketSetMulticast_Debug(a, b, label)", EXPANSION(zvSocketSetMulticast(a, b, label))},
    {"zvSocketSetTCPKeepAlive_Debug(a, b, c, d, label)",
     EXPANSION(zvSocketSetTCPKeepAlive(a, b, c, d, label))},
    {"zvSocketSetTCPNoDelay_Debug(a, b, label)", EXPANSION(zvSocketSetTCPNoDelay(a, b, label))},
    {"zvSocketSetTimeOut_Debug(a, b, c, d, label)", EXPANSION(zvSocketSetTimeOut(a, b, c, d, label))},
    {"zvSocketSetSendBuffer_Debug(a, b, label)", EXPANSION(zvSocketSetSendBuffer(a, b, label))},
    {"zvSocketSetRecvBuffer_Debug(a, b, label)", EXPANSION(zvSocketSetRecvBuffer(a, b, label))},
    {"zvSocketSetIPHeader_Debug(a, b, label)", EXPANSION(zvSocketSetIPHeader(a, b, label))},
    {"zvSocketSetTTL_Debug(a, b, label)", EXPANSION(zvSocketSetTTL(a, b, label))},
    {"zvSocketGetTTL_Debug(a, b, label)", EXPANSION(zvSocketGetTTL(a, b, label))},
    {"zvSocketMulticastAdd_Debug(a, b, c, label)", EXPANSION(zvSocketMulticastAdd(a, b, c, label))},
    {"zvSocketMulticastDrop_Debug(a, b, c, label)", EXPANSION(zvSocketMulticastDrop(a, b, c, label))},
    {"zvSocketMulticastSetTTL_Debug(a, b, label)", EXPANSION(zvSocketMulticastSetTTL(a, b, label))},
    {"zvSocketMulticastSetLoop_Debug(a, b, label)", EXPANSION(zvSocketMulticastSetLoop(a, b, label))},
    {"zvSocketGetPeerName_Debug(a, b, c, label)", EXPANSION(zvSocketGetPeerName(a, b, c, label))},
    {"zvSocketGetSockName_Debug(a, b, c, label)", EXPANSION(zvSocketGetSockName(a, b, c, label))},
    {"zvSocketSendUDP_Debug(a, b, c, d, e, f, label)", EXPANSION(zvSocketSendUDP(a, b, c, d, e, f, label))},
    {"zvSocketRecvUDP_Debug(a, b, c, d, e, f, label)", EXPANSION(zvSocketRecvUDP(a, b, c, d, e, f, label))},
    {"zvSocketGetAddressInfo_Debug(a, b, label)", EXPANSION(zvSocketGetAddressInfo(a, b, label))},
};
// clang-format on

TEST(Interface, PlainNamesCallTheTwinThatLogs) {
  for (const Mapping &theMapping : kMappings)
    EXPECT_EQ(zvtest::WithoutBlanks(theMapping.mCall), zvtest::WithoutBlanks(theMapping.mExpansion));
}

TEST(Interface, AddressesCanBeTakenApart) {
  sockaddr_in theAddress = {};
  theAddress.sin_addr.s_addr = 0x01020304;
  EXPECT_EQ(0x01020304u, zvSocket_GetIPAddress(theAddress));
  const uint8 theBytes[4] = {192, 0, 2, 255};
  uint32 theNumber;
  memcpy(&theNumber, theBytes, sizeof(theNumber));
  char theText[20];
  snprintf(theText, sizeof(theText), "%u.%u.%u.%u", zvSocket_IPPrintf(theNumber));
  EXPECT_STREQ("192.0.2.255", theText);
}

}  // namespace
