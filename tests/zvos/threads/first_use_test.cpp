// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Every module of the library used for the first time by many threads at once, in a process that has not
// used it before. What is wrong with that shows under ThreadSanitizer.
//
// Left out is what a process does by itself by design: setting the locale, the check of protected links,
// signal catching and the environment, and the back-trace of a dying process.

#include <zvOS/zvBinaryRevision.h>
#include <zvOS/zvCondition.h>
#include <zvOS/zvConsolePlatform.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvDebug.h>
#include <zvOS/zvDir.h>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvGlobal.h>
#include <zvOS/zvLocale.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvMACAddress.h>
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
#include <zvOS/zvSocketIGMP.h>
#include <zvOS/zvSocketPolicy.h>
#include <zvOS/zvSocketQOS.h>
#include <zvOS/zvSocketSelect.h>
#include <zvOS/zvSocketTracker.h>
#include <zvOS/zvThread.h>
#include <zvOS/zvTime.h>
#include <zvOS/zvUI.h>
#include <zvOS/zvUser.h>

#include "support/Alone.h"
#include "zvos/services/socket_traffic_checks.h"
#include "support/Network.h"
#include "support/Threads.h"

#include <cstdlib>

namespace {

using ::testing::IsEmpty;
using namespace zvtest;
using zvtest::net::Generic;
using zvtest::net::kAddressLength;

constexpr int kThreads = 16;

// What one thread does with a module; the number is the thread's.
using Use = void (*)(int aThread);

void ExpectText(char *aText) {
  EXPECT_NE(nullptr, aText);
  free(aText);
}

// A name that no other thread and no other process has.
std::string OwnName(int aThread) {
  return Format("zvtest-first-%d-%d", static_cast<int>(getpid()), aThread);
}

//
// Locks, threads, time
//

void UseMutex(int) {
  zvOSMutex *const theMutex = zvMutex_New();
  EXPECT_EQ(0, zvMutex_Lock(theMutex));
  EXPECT_NE(0, zvMutex_IsHeld(theMutex));
  EXPECT_EQ(0, zvMutex_Unlock(theMutex));
  zvMutex_Delete(theMutex);
}

void UseCriticalSection(int) {
  zvOSCriticalSection *const theSection = zvCriticalSection_New();
  EXPECT_EQ(0, zvCriticalSection_Enter(theSection));
  EXPECT_EQ(0, zvCriticalSection_Leave(theSection));
  zvCriticalSection_Delete(theSection);
}

void UseCondition(int) {
  zvOSMutex *const theMutex = zvMutex_New();
  zvOSCondition *const theCondition = zvCondition_New();
  EXPECT_EQ(0, zvMutex_Lock(theMutex));
  EXPECT_NE(0, zvCondition_WaitTimeout(theCondition, theMutex, 1));
  EXPECT_EQ(0, zvCondition_Signal(theCondition));
  EXPECT_EQ(0, zvMutex_Unlock(theMutex));
  zvCondition_Delete(theCondition);
  zvMutex_Delete(theMutex);
}

void UseSemaphore(int) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(0);
  EXPECT_EQ(1, zvSemaphore_WaitTimeout(theSemaphore, 1));
  EXPECT_EQ(0, zvSemaphore_Post(theSemaphore));
  EXPECT_EQ(0, zvSemaphore_Wait(theSemaphore));
  zvSemaphore_Delete(theSemaphore);
}

void UseThread(int) {
  zvOSThread_Data theData = {[](void *aNumber) { ++*static_cast<int *>(aNumber); },
                             nullptr,
                             nullptr,
                             0,
                             zvThread_Kind_Joinable,
                             zvThread_Scheduling_Default};
  int theNumber = 1;
  theData.mThreadArgs = &theNumber;
  zvOSThread *const theThread = zvThread_New(&theData);
  ASSERT_NE(nullptr, theThread);
  EXPECT_EQ(0, zvThread_Run(theThread));
  EXPECT_EQ(0, zvThread_Wait(theThread));
  EXPECT_EQ(2, theNumber);
  zvThread_Delete(theThread);
  EXPECT_NE(0u, zvThread_GetCurrentThreadID());
  EXPECT_EQ(static_cast<uint32>(getpid()), zvThread_GetPID());
}

void UseTime(int) {
  zvtimeval theTime = {};
  zvTime_GetTimeOfDay(&theTime);
  EXPECT_NE(theTime.tv_sec, 0);
  zvMonoliticTime_GetTime(&theTime);
  zvtimezone theZone;
  zvTime_GetTimeZone(&theZone);
  EXPECT_NE(0, zvTime_ConvertMacroDate("Nov 22 2006"));
  zvTime_GetTickCount();
}

void UseRandomNumbersAndUser(int) {
  zvOSRand_SetSeed(1);
  zvOSRand_Rand();
  EXPECT_EQ(static_cast<int64>(getuid()), zvUser_GetID());
  EXPECT_NE(nullptr, zvLocale_Get());
  EXPECT_EQ(0, zvLocale_isBig5User());
}

// The environment is changed by all, and read when nobody changes it.
void SetGlobal(int aThread) {
  static int sValues[kThreads];
  zvGlobal_SetPtr(OwnName(aThread).c_str(), &sValues[aThread]);
}
void GetGlobal(int aThread) {
  EXPECT_EQ(nullptr, zvGlobal_GetPtr(OwnName(aThread).c_str()));
  const std::string theVariable =
      Format("%s.%d.zvGlobal", OwnName(aThread).c_str(), static_cast<int>(getpid()));
  EXPECT_NE(nullptr, zvGlobal_GetPtr(theVariable.c_str()));
  ExpectText(zvPlatform_getenv("PATH"));
}

//
// Files, folders, paths, programs
//

void UsePath(int) {
  char *const thePath = zvPath_GetApplicationFullPath();
  EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe").string(), thePath);
  free(thePath);
  ExpectText(zvPath_Normalize("a", 0, kzvPathNormalizeMode_Native, nullptr));
  ExpectText(zvPath_GetTempDirPath());
  ExpectText(zvPath_GetFunctionSharedLibraryPath(reinterpret_cast<zvDefaultFunctionPtr>(zvPath_RealPath)));
}

void UseRevision(int) {
  char *theBranch = nullptr;
  zvPath_GetBinaryRevision(zvtest::BuiltLibrary("libzvOS.so").c_str(), &theBranch);
  free(theBranch);
}

void UseFile(int aThread) {
  const std::string thePath = std::filesystem::current_path() / OwnName(aThread);
  zvFileFD theFile = kzvFileFDInvalid;
  EXPECT_EQ(0, zvFile_Open(thePath.c_str(), zvFileOpenMode_ReadWrite | zvFileOpenMode_Create, 0, &theFile));
  EXPECT_EQ(4, zvFile_Write(theFile, "text", 4));
  zvFileOffset theSize = 0;
  EXPECT_EQ(0, zvFile_GetSize(theFile, &theSize));
  EXPECT_EQ(4, theSize);
  EXPECT_EQ(0, zvFile_Close(theFile));
  EXPECT_EQ(1, zvFile_Exists(thePath.c_str()));
  EXPECT_EQ(0, zvFile_Remove(thePath.c_str()));
  EXPECT_EQ(kzvFileErrorNotFound, zvFile_Open("zvtest-no-such-file", zvFileOpenMode_Read, 0, &theFile));
}

void UseDir(int aThread) {
  const std::string thePath = std::filesystem::current_path() / (OwnName(aThread) + ".folder");
  EXPECT_EQ(1, zvDir_CreatePath((thePath + "/inner").c_str()));
  EXPECT_EQ(1, zvDir_Exists(thePath.c_str()));
  zvDirTraverser *const theTraverser = zvDirTraverser_New(thePath.c_str());
  int theError = 0;
  errno = 0;
  const zvDirEntry *const theEntry = zvDirTraverser_GetFirst(theTraverser, "*", zvDIR_DEFAULT, &theError);
  ASSERT_NE(nullptr, theEntry);
  EXPECT_STREQ("inner", theEntry->mName);
  zvDirTraverser_Delete(theTraverser);
}

void UsePlugin(int) {
  const std::string thePath = zvtest::BuiltLibrary("plugins/zvtest_good.so");
  zvOSPluginHandle const thePlugin = zvPlugin_Load(thePath.c_str());
  ASSERT_NE(nullptr, thePlugin);
  EXPECT_NE(nullptr, zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_Double"));
  EXPECT_EQ(nullptr, zvPlugin_GetSymbol(thePlugin, "zvTestPlugin_NoSuchName"));
  zvPlugin_Unload(thePlugin);
}

void UseProcess(int) {
  zvProcessFD theProcess = nullptr;
  ASSERT_EQ(0, zvProcess_Open("echo text", zvProcessOpenMode_Read, &theProcess));
  char theText[5] = "";
  EXPECT_TRUE(zvtest::WaitUntil([&] { return zvProcess_Read(theProcess, theText, 4) != 0; }));
  EXPECT_STREQ("text", theText);
  EXPECT_EQ(0, zvProcess_Close(theProcess));
  free(theProcess);
}

void UseLaunch(int) {
  EXPECT_EQ(0, zvPlatform_Launch("/bin/true", nullptr));
}

void UseSingleInstance(int aThread) {
  zvOSSingleInstanceChecker *const theChecker = zvSingleInstanceChecker_New(OwnName(aThread).c_str());
  ASSERT_NE(nullptr, theChecker);
  EXPECT_EQ(0, zvSingleInstanceChecker_Exists(theChecker));
  zvSingleInstanceChecker_Delete(theChecker);
}

//
// Sockets and pipes
//

// With the socket table and the traffic files on.
void UseSocket(int) {
  EXPECT_EQ(0, zvSocket_Init());
  const zvSocket theListener = zvSocket_GetTCPSocket(INADDR_LOOPBACK, nullptr);
  ASSERT_EQ(0, zvSocketListen(theListener, 1, "listener"));
  const zvSocket theClient = zvSocketOpen(AF_INET, SOCK_STREAM, 0, "client");
  sockaddr_in theAddress = {};
  socklen_t theLength = sizeof(theAddress);
  ASSERT_EQ(0, getsockname(theListener, Generic(&theAddress), &theLength));
  ASSERT_EQ(0, zvSocketConnect(theClient, Generic(&theAddress), kAddressLength, "client"));
  const zvSocket theServer = zvSocketAccept(theListener, nullptr, nullptr, "server");
  char theText[5] = "";
  EXPECT_EQ(0, zvSocketSetTCPNoDelay(theClient, 1, "client"));
  EXPECT_EQ(4, zvSocketSend(theClient, "text", 4, 0, "client"));
  EXPECT_EQ(4, zvSocketRecv(theServer, theText, 4, MSG_WAITALL, "server"));
  zvSocketTracker_Dump();
  for (const zvSocket theSocket : {theClient, theServer, theListener})
    EXPECT_EQ(0, zvSocketClose(theSocket, "end"));
}

void UseDatagram(int) {
  uint16 thePort = 0;
  const zvSocket theSocket = zvSocket_GetUDPSocket(INADDR_LOOPBACK, &thePort);
  sockaddr_in theAddress = zvtest::net::Loopback(thePort);
  EXPECT_EQ(4,
            zvSocketSendUDP_Debug(theSocket, Generic(&theAddress), kAddressLength, "text", 4, 0, "datagram"));
  EXPECT_EQ(0, zvSocketClose(theSocket, "datagram"));
}

void UseAddress(int) {
  // A bare machine knows no names.
  const char *theLocalhost = zvtest::Exists("/etc/hosts") ? "localhost" : "127.0.0.1";
  EXPECT_EQ(zvtest::Address("127.0.0.1"), zvSocketGetAddressByName(theLocalhost));
  uint32 theAddress = 0;
  EXPECT_EQ(0, zvSocketGetAddressInfo_Debug("127.0.0.1", &theAddress, "address"));
  uint32 *theList = nullptr;
  zvSocketGetIPAddressList(nullptr, &theList, 1);
  free(theList);
  EXPECT_EQ(1, zvSocketIsLocalIPAddress(zvtest::Address("127.0.0.1")));
  EXPECT_EQ(1, zvSocket_IsLinkProtected(static_cast<int32>(zvtest::Address("127.0.0.1"))));
  char theName[256];
  EXPECT_EQ(0, zvSocket_GetHostName_Debug(theName, sizeof(theName), "address"));
  uint8 theHardwareAddress[6];
  zvMACAddress_Get(0, theHardwareAddress);
  sockaddr_in theNeighbour = zvtest::net::Loopback();
  size_t theLength = sizeof(theHardwareAddress);
  zvSocket_QueryARP(Generic(&theNeighbour), theHardwareAddress, &theLength);
}

void UsePolicy(int) {
  zvSocketPolicy *const thePolicy = zvSocketPolicy_New(kzvSocketPolicy_IP_LocalHostOnly, nullptr);
  ASSERT_NE(nullptr, thePolicy);
  const uint32 theLoopback = zvtest::Address("127.0.0.1");
  EXPECT_EQ(1, zvSocketPolicy_AcceptConnection(thePolicy, theLoopback, theLoopback));
  uint32 *theList = nullptr;
  zvSocketPolicy_GetIPAddressList(thePolicy, &theList, 1);
  free(theList);
  const zvtest::net::Socket theSocket = zvtest::net::Datagram();
  zvSocketQOS_SetPriority(zvSocketPolicy_GetQOS(thePolicy), theSocket, kzvSocket_DLNAQOS_2, nullptr);
  zvSocketPolicy_Delete(thePolicy);
}

// Nothing of it reaches the network.
void UseIGMP(int) {
  Fault theNetwork("sendto", EPERM, 0, -1);
  zvSocketIGMP_JoinGroup(zvtest::Address("239.1.2.3"));
  zvSocketIGMP_LeaveGroup(zvtest::Address("239.1.2.3"));
}

void UseSelect(int) {
  zvSocketSelect *const theSelect = zvSocketSelect_New();
  ASSERT_NE(nullptr, theSelect);
  zvSocketSelect_Trigger(theSelect);
  int afTriggered = 0;
  EXPECT_EQ(1, zvSocketSelect_Select(theSelect, nullptr, nullptr, nullptr, 0, nullptr, &afTriggered));
  EXPECT_EQ(1, afTriggered);
  zvSocketSelect_Delete(theSelect);
}

void UsePipe(int aThread) {
  int thePair[2];
  ASSERT_EQ(0, zvPipe_Pair(thePair, ZVPIPE_DEFAULT));
  EXPECT_EQ(0, zvPipe_SendFD(thePair[0], dup(STDOUT_FILENO)));
  const int theReceived = zvPipe_RecvFD(thePair[1]);
  const int theListener = zvPipe_Listener(OwnName(aThread).c_str(), ZVPIPE_DEFAULT);
  const int theClient = zvPipe_Connect(OwnName(aThread).c_str(), ZVPIPE_DEFAULT);
  const int theServer = zvPipe_Accept(theListener, ZVPIPE_DEFAULT);
  EXPECT_EQ(4, zvPipe_Write(theClient, "text", 4));
  char theText[5] = "";
  EXPECT_EQ(4, zvPipe_Read(theServer, theText, 4));
  ExpectText(zvPipe_GenerateUniqueName("zvtest-"));
  for (const int thePipe : {thePair[0], thePair[1], theReceived, theListener, theClient, theServer})
    EXPECT_EQ(0, zvPipe_Close(thePipe, 1));
}

//
// Diagnostics
//

void UseDebug(int) {
  char theBuffer[4096];
  EXPECT_GT(zvDebug_GetBackTrace(theBuffer, sizeof(theBuffer)), 0);
  zvDebug_LogLibraryInfo(reinterpret_cast<void *>(zvDebug_GetBackTrace));
  zvDebug_SetThreadName("zvtest");
}

void UseUI(int) {
  zvUI_DisplayToEndUser("title", "message");
  ExpectText(zvUI_GetApplicationDisplayName());
  free(zvUI_GetApplicationVersion());
}

void UseConsole(int) {
  FILE *const theFile = fopen("/dev/null", "r+e");
  EXPECT_EQ(1, zvConsolePlatform_IsCharAvailable(theFile));
  EXPECT_EQ(0, zvConsolePlatform_GetChar(theFile));
  zvConsolePlatform_Flush(theFile);
  fclose(theFile);
}

void UseLogFunctions(int) {
  Log_Error("error\n");
  Log_Warning("warning\n");
  Log_Info("information\n");
}

constexpr Use kUses[] = {UsePath,
                         UseFile,
                         UseUI,
                         UseDebug,
                         UseMutex,
                         UseCriticalSection,
                         UseThread,
                         UseTime,
                         UseCondition,
                         UseSemaphore,
                         UseSocket,
                         UseDatagram,
                         UseAddress,
                         UsePolicy,
                         UseIGMP,
                         UseSelect,
                         UsePipe,
                         UseDir,
                         UseRevision,
                         UsePlugin,
                         UseProcess,
                         UseLaunch,
                         UseSingleInstance,
                         UseConsole,
                         UseRandomNumbersAndUser,
                         SetGlobal,
                         GetGlobal,
                         UseLogFunctions};

TEST(FirstUse, OfEveryModuleByManyThreadsAtOnce) {
  if (!zvtest::IsAlone()) return;
  const zvtest::TrafficFolder theFolder;
  const std::set<int> theDescriptors = zvtest::OpenDescriptors();
  setenv("TMPDIR", std::filesystem::current_path().c_str(), 1);
  RecordingLog theLog;
  zvtest::AdmitTraffic(theLog);
  theLog.AnswerWillLog(kDebugLevel, zvtest::net::kTracker, 1);

  // All threads begin with a module together.
  zvtest::Meeting theMeeting(kThreads);
  zvtest::InThreads(kThreads, [&](int aThread) {
    for (const Use theUse : kUses) {
      theMeeting.Arrive();
      theUse(aThread);
    }
  });
  EXPECT_THAT(theLog.Assertions(), IsEmpty());
  EXPECT_EQ(theDescriptors, zvtest::OpenDescriptors());
}

}  // namespace
