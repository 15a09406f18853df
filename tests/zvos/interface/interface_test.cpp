// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Constants and types of the interface: programs are compiled with them, so none may change. Those of the
// common frame are in frame_test.cpp, functions and macros in interface_functions_test.cpp.

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

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace {

//
// Constants
//

#define CONSTANT(name, value) static_assert((name) == (value), #name);
// clang-format off

// Threads.
CONSTANT(kzvThread_StackSize, 131072)
CONSTANT(zvThread_Kind_Joinable, 0)
CONSTANT(zvThread_Kind_Detached, 1)
CONSTANT(zvThread_Scheduling_Default, 0)
CONSTANT(zvThread_Scheduling_Realtime, 1)
CONSTANT(kzvThreadState_NotInited, 0)
CONSTANT(kzvThreadState_Inited, 1)
CONSTANT(kzvThreadState_Running, 2)
CONSTANT(kzvThreadState_Finished, 3)
CONSTANT(kzvThreadDetachedState_NotDetached, 0)
CONSTANT(kzvThreadDetachedState_Detached, 1)
CONSTANT(kzvThreadDetachedState_DetachedDelete, 2)

// Random numbers, messages to the user.
CONSTANT(kzvRandMax, 32767)
CONSTANT(kzvUIAskToEndUser_Yes, 0)
CONSTANT(kzvUIAskToEndUser_No, 1)

// Files.
CONSTANT(ZVFILEOFFSET_SIZE, 64)
CONSTANT(kzvFileOffsetInvalid, -1)
CONSTANT(zvFileOpenMode_Read, 0x01)
CONSTANT(zvFileOpenMode_Write, 0x02)
CONSTANT(zvFileOpenMode_ReadWrite, 0x03)
CONSTANT(zvFileOpenMode_Exclusive, 0x04)
CONSTANT(zvFileOpenMode_Append, 0x08)
CONSTANT(zvFileOpenMode_Create, 0x10)
CONSTANT(zvFileOpenMode_Truncate, 0x20)
CONSTANT(zvFileAccessMode_Read, 1)
CONSTANT(zvFileAccessMode_Write, 2)
CONSTANT(zvFileAccessMode_ReadWrite, 3)
CONSTANT(zvFileSeekMode_Begin, 0)
CONSTANT(zvFileSeekMode_Current, 1)
CONSTANT(zvFileSeekMode_End, 2)
CONSTANT(kzvFileAttribute_Hidden, 1)
CONSTANT(kzvFileErrorUnknown, -1)
CONSTANT(kzvFileErrorReadOnlyFileSystem, -2)
CONSTANT(kzvFileErrorNotFound, -3)
CONSTANT(kzvFileErrorAlreadyExists, -4)
CONSTANT(kzvFileErrorNoSpace, -5)
CONSTANT(ZVFILE_LARGEFILE, O_LARGEFILE)

// Directories.
CONSTANT(zvDIR_FILES, 0x0001)
CONSTANT(zvDIR_DIRS, 0x0002)
CONSTANT(zvDIR_HIDDEN, 0x0004)
CONSTANT(zvDIR_DOTDOT, 0x0008)
CONSTANT(zvDIR_DEFAULT, 0x0007)
CONSTANT(kzvDirTraverserStatus_NoError, 0)
CONSTANT(kzvDirTraverserStatus_Error, 1)

// Paths.
CONSTANT(kzvPathNormalizeMode_Generic, 0x00)
CONSTANT(kzvPathNormalizeMode_NativeSlash, 0x01)
CONSTANT(kzvPathNormalizeMode_NativeForm, 0x02)
CONSTANT(kzvPathNormalizeMode_Native, 0x03)
CONSTANT(kzvPathType_Unknown, 0)
CONSTANT(kzvPathType_Remote, 1)
CONSTANT(kzvPathType_Fixed, 2)
CONSTANT(kzvPathType_Removable, 3)

// Processes.
CONSTANT(zvProcessOpenMode_Read, 0x01)
CONSTANT(zvProcessOpenMode_Write, 0x02)
CONSTANT(kzvProcessStatus_Success, 0)
CONSTANT(kzvProcessStatus_InvalidFD, -1)
CONSTANT(kzvProcessStatus_Timeout, -2)
CONSTANT(kzvProcessStatus_EOS, -3)

// Sockets.
CONSTANT(kzvSocketInvalid, -1)
CONSTANT(kzvSocket_SuggestedKeepAliveTime, 10000)
CONSTANT(kzvSocket_SuggestedKeepAliveInterval, 100)
CONSTANT(kzvSocket_IANA_MinPortNumber, 50000)
CONSTANT(kzvSocket_IANA_MaxPortNumber, 65000)
CONSTANT(kzvSocketSelect_PipeRead, 0)
CONSTANT(kzvSocketSelect_PipeWrite, 1)

// Policy and quality of service.
CONSTANT(kzvSocketPolicy_IP_Other, 0x00)
CONSTANT(kzvSocketPolicy_IP_All, 0x01)
CONSTANT(kzvSocketPolicy_IP_AllExceptLocalHost, 0x02)
CONSTANT(kzvSocketPolicy_IP_LocalHostOnly, 0x03)
CONSTANT(kzvSocketPolicy_IP_Mask, 0x03)
CONSTANT(kzvSocket_QOS_NONE, 0)
CONSTANT(kzvSocket_QOS_BEST_EFFORT, 1)
CONSTANT(kzvSocket_QOS_BACKGROUND, 2)
CONSTANT(kzvSocket_QOS_EXCELLENT_EFFORT, 3)
CONSTANT(kzvSocket_QOS_AUDIO_VIDEO, 4)
CONSTANT(kzvSocket_QOS_VOICE, 5)
CONSTANT(kzvSocket_QOS_CONTROL, 6)
CONSTANT(kzvSocket_QOS_FIRST, 0)
CONSTANT(kzvSocket_QOS_LAST, 6)
CONSTANT(kzvSocket_DLNAQOS_0, 2)
CONSTANT(kzvSocket_DLNAQOS_1, 0)
CONSTANT(kzvSocket_DLNAQOS_2, 4)
CONSTANT(kzvSocket_DLNAQOS_3, 6)
CONSTANT(kzvSocketQOSInvalidSocket, -1)
CONSTANT(kzvSocketQOSNotSupported, -2)

// Pipes.
CONSTANT(ZVPIPE_NOFLAGS, 0)
CONSTANT(ZVPIPE_DEFAULT, 0)
CONSTANT(ZVPIPE_RD, 1)
CONSTANT(ZVPIPE_WR, 2)
CONSTANT(ZVPIPE_RDWR, 3)
CONSTANT(ZVPIPE_MSG, 4)
CONSTANT(ZVPIPE_NONBLOCKING, 8)

// Console.
CONSTANT(kzvConsoleMode_Default, 0)
CONSTANT(kzvConsoleMode_NoPassThrough, 1)
CONSTANT(kzvConsoleMode_NoConsoleForGUI, 2)

// What the log library answers.
CONSTANT(kzvConvertError_None, 0)
CONSTANT(kzvConvertError_RangeHigh, -1)
CONSTANT(kzvConvertError_RangeLow, -2)
CONSTANT(kzvConvertError_Invalid, -3)
// clang-format on
#undef CONSTANT

TEST(Interface, ConstantsThatAreNoNumbers) {
  EXPECT_EQ(reinterpret_cast<zvFileFD>(intptr_t{-1}), kzvFileFDInvalid);
  EXPECT_EQ(pthread_t{0}, kzvMutex_NoOwner);
  EXPECT_STREQ(".so", kzvPlugin_Extension);
  EXPECT_STREQ(".so", PLUGIN_EXTENSION);
  EXPECT_EQ(9u, strlen(kzvGlobalVariableSuffix));
}

// What #if cannot read would count as 0.
#if ZVOS_VERSION_NUMBER < 10000
#error "the version is no number for the preprocessor"
#endif
static_assert(ZVOS_VERSION_NUMBER ==
                  ZVOS_VERSION_MAJOR * 10000 + ZVOS_VERSION_MINOR * 100 + ZVOS_VERSION_PATCH,
              "version");
// A number of three digits would run into the one before it.
static_assert(ZVOS_VERSION_MINOR < 100 && ZVOS_VERSION_PATCH < 100, "version");

TEST(Interface, VersionIsThatOfTheBuild) {
  EXPECT_STREQ(ZVTEST_VERSION, ZVOS_VERSION_STRING);
}

//
// Types
//

#define SAME_TYPE(name, type) static_assert(std::is_same<name, type>::value, #name);
SAME_TYPE(zvLogLevel, uint16)
SAME_TYPE(zvLogModule, uint16)
SAME_TYPE(zvDefaultFunctionPtr, void (*)())
SAME_TYPE(zvThread_Func, void (*)(void *))
SAME_TYPE(zvtime_t, long)
SAME_TYPE(zvFileFD, void *)
SAME_TYPE(zvFileOffset, int64)
SAME_TYPE(zvFileOpenMode, int)
SAME_TYPE(zvFileAccessMode, int)
SAME_TYPE(zvFileSeekMode, int)
SAME_TYPE(zvFileAttributes, uint32)
SAME_TYPE(zvProcessOpenMode, int)
SAME_TYPE(zvProcessFD, struct zvProcessFD_t *)
SAME_TYPE(zvOSPluginHandle, void *)
SAME_TYPE(zvOSPluginSymbol, void *)
SAME_TYPE(zvSocket, int32)
SAME_TYPE(decltype(kzvSocketInvalid), zvSocket)
SAME_TYPE(decltype(kzvFileOffsetInvalid), zvFileOffset)
SAME_TYPE(decltype(kzvFileFDInvalid), zvFileFD)
SAME_TYPE(zvSocketPolicy, struct zvSocketPolicy_t)
SAME_TYPE(zvSocketQOS, struct zvSocketQOS_t *)
SAME_TYPE(zvSocketSelect, struct zvSocketSelect_t)
SAME_TYPE(zvOSMutex, struct zvMutex_t)
SAME_TYPE(zvOSCriticalSection, struct zvCriticalSection_t)
SAME_TYPE(zvOSCondition, struct zvCondition_t)
SAME_TYPE(zvOSSemaphore, struct zvSemaphore_t)
SAME_TYPE(zvOSThread, struct zvThread_t)
SAME_TYPE(zvSocketAcceptConnectionFunc, int (*)(zvSocketPolicy *, uint32, uint32))
SAME_TYPE(zvSocketGetIPAddressListFunc, int (*)(zvSocketPolicy *, uint32 **, int))
SAME_TYPE(zvSocketMapLocalIPAddressToLoopBackFunc, uint32 (*)(zvSocketPolicy *, uint32))
SAME_TYPE(zvSocketIsValidIF, int (*)(zvSocketPolicy *, const char *))
#undef SAME_TYPE

// Records that programs fill in or read. The fields are initialised in their order.
static_assert(zvtimeval{1L, 2L}.tv_sec == 1 && zvtimeval{1L, 2L}.tv_usec == 2, "zvtimeval");
static_assert(sizeof(zvtimeval) == 2 * sizeof(long), "zvtimeval");
static_assert(zvtimezone{1L, 2L}.tz_minuteswest == 1 && zvtimezone{1L, 2L}.tz_dsttime == 2, "zvtimezone");
static_assert(sizeof(zvtimezone) == 2 * sizeof(long), "zvtimezone");

#define FIELD_AFTER(record, field, former) \
  static_assert(offsetof(record, field) >= offsetof(record, former) + sizeof(record::former), #field);
FIELD_AFTER(zvLogData, mModule, mLevel)
FIELD_AFTER(zvLogData, mFile, mModule)
FIELD_AFTER(zvLogData, mLine, mFile)
FIELD_AFTER(zvOSThread_Data, mDeleteFunc, mThreadFunc)
FIELD_AFTER(zvOSThread_Data, mThreadArgs, mDeleteFunc)
FIELD_AFTER(zvOSThread_Data, mStackSize, mThreadArgs)
FIELD_AFTER(zvOSThread_Data, mThreadKind, mStackSize)
FIELD_AFTER(zvOSThread_Data, mThreadScheduling, mThreadKind)
FIELD_AFTER(zvDirEntry, mfDir, mName)
FIELD_AFTER(zvDirEntry, mfHidden, mfDir)
#undef FIELD_AFTER
static_assert(offsetof(zvLogData, mLevel) == 0 && offsetof(zvOSThread_Data, mThreadFunc) == 0,
              "first fields");
static_assert(offsetof(zvDirEntry, mName) == 0, "first fields");
static_assert(std::is_same<decltype(zvOSThread_Data::mStackSize), size_t>::value, "mStackSize");

}  // namespace
