// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "cost/HotPaths.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zvOS/zvMonoliticTime.h>
#include <zvOS/zvSocket.h>
#include <zvOS/zvThread.h>
#include <zvOS/zvTime.h>

#include "cost/SilentMessage.h"

namespace costtest {
namespace {

constexpr char kContext[] = "cost";
constexpr int kLength = 64;

// Calls of one object that return 0.
template <auto kFunction, auto kObject>
void Call(Stage &aStage) {
  aStage.Expect(kFunction(aStage.*kObject) == 0);
}

constexpr auto kLock = Call<zvMutex_Lock, &Stage::mMutex>;
constexpr auto kUnlock = Call<zvMutex_Unlock, &Stage::mMutex>;
constexpr auto kEnter = Call<zvCriticalSection_Enter, &Stage::mSection>;
constexpr auto kLeave = Call<zvCriticalSection_Leave, &Stage::mSection>;
constexpr auto kPost = Call<zvSemaphore_Post, &Stage::mSemaphore>;
constexpr auto kWait = Call<zvSemaphore_Wait, &Stage::mSemaphore>;
constexpr auto kSignal = Call<zvCondition_Signal, &Stage::mCondition>;

void Send(Stage &aStage) {
  aStage.Expect(zvSocketSend_Debug(aStage.mSender, aStage.mBytes.data(), kLength, 0, kContext) == kLength);
}
void Receive(Stage &aStage) {
  aStage.Expect(zvSocketRecv_Debug(aStage.mReceiver, aStage.mBytes.data(), kLength, 0, kContext) == kLength);
}
void SendNoDebug(Stage &aStage) {
  aStage.Expect(zvSocketSend_NoDebug(aStage.mSender, aStage.mBytes.data(), kLength, 0) == kLength);
}
void ReceiveNoDebug(Stage &aStage) {
  aStage.Expect(zvSocketRecv_NoDebug(aStage.mReceiver, aStage.mBytes.data(), kLength, 0) == kLength);
}
void Trigger(Stage &aStage) {
  zvSocketSelect_Trigger(aStage.mSelect);
}
void Select(Stage &aStage) {
  int afTriggered = 0;
  aStage.Expect(zvSocketSelect_Select(aStage.mSelect, nullptr, nullptr, nullptr, 0, nullptr, &afTriggered) ==
                1);
  aStage.Expect(afTriggered == 1);
}

void Seek(Stage &aStage) {
  aStage.Expect(zvFile_Seek(aStage.mFile, 0, zvFileSeekMode_Begin) == 0);
}
void Write(Stage &aStage) {
  aStage.Expect(zvFile_Write(aStage.mFile, aStage.mBytes.data(), kLength) == kLength);
}
void Read(Stage &aStage) {
  aStage.Expect(zvFile_Read(aStage.mFile, aStage.mBytes.data(), kLength) == kLength);
}
void WriteAndSeek(Stage &aStage) {
  Seek(aStage);
  Write(aStage);
  Seek(aStage);
}

void GetTimeOfDay(Stage &aStage) {
  zvtimeval theTime = {};
  zvTime_GetTimeOfDay(&theTime);
  aStage.Expect(theTime.tv_sec != 0);
}
void GetMonotonicTime(Stage &aStage) {
  zvtimeval theTime = {};
  zvMonoliticTime_GetTime(&theTime);
  aStage.Expect(theTime.tv_sec != 0 || theTime.tv_usec != 0);
}
void GetTickCount(Stage &) {
  zvTime_GetTickCount();
}
void GetThread(Stage &aStage) {
  aStage.Expect(zvThread_GetCurrentThreadID() != 0);
}

void SilentMessage(Stage &aStage) {
  aStage.Expect(CostOf_SilentMessage(1) == 1);
}
void NoMessage(Stage &aStage) {
  aStage.Expect(CostOf_NoMessage(1) == 1);
}

}  // namespace

Stage::Stage() {
  int thePair[2] = {-1, -1};
  Expect(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, thePair) == 0);
  mSender = thePair[0];
  mReceiver = thePair[1];
  char thePath[] = "/tmp/zvos_cost.XXXXXX";
  const int theFile = mkstemp(thePath);
  Expect(theFile >= 0 && zvFile_Open(thePath, zvFileOpenMode_ReadWrite, 0, &mFile) == 0);
  unlink(thePath);
  close(theFile);
  Expect(mMutex != nullptr && mSection != nullptr && mSemaphore != nullptr && mCondition != nullptr &&
         mSelect != nullptr);
}

Stage::~Stage() {
  zvFile_Close(mFile);
  close(mReceiver);
  close(mSender);
  zvSocketSelect_Delete(mSelect);
  zvCondition_Delete(mCondition);
  zvSemaphore_Delete(mSemaphore);
  zvCriticalSection_Delete(mSection);
  zvMutex_Delete(mMutex);
}

const std::vector<HotPath> &HotPaths() {
  static const std::vector<HotPath> kPaths = {
      {"zvMutex_Lock", nullptr, kLock, kUnlock},
      {"zvMutex_Unlock", kLock, kUnlock, nullptr},
      {"zvCriticalSection_Enter", nullptr, kEnter, kLeave},
      {"zvCriticalSection_Leave", kEnter, kLeave, nullptr},
      {"zvSemaphore_Post", kWait, kPost, nullptr},
      {"zvSemaphore_Wait", nullptr, kWait, kPost},
      {"zvCondition_Signal", nullptr, kSignal, nullptr},
      {"zvSocketSend_Debug", nullptr, Send, Receive},
      {"zvSocketRecv_Debug", Send, Receive, nullptr},
      {"zvSocketSend_NoDebug", nullptr, SendNoDebug, Receive},
      {"zvSocketRecv_NoDebug", Send, ReceiveNoDebug, nullptr},
      {"zvSocketSelect_Trigger", nullptr, Trigger, Select},
      {"zvSocketSelect_Select", Trigger, Select, nullptr},
      {"zvFile_Seek", nullptr, Seek, nullptr},
      {"zvFile_Read", WriteAndSeek, Read, nullptr},
      {"zvFile_Write", Seek, Write, nullptr},
      {"zvTime_GetTimeOfDay", nullptr, GetTimeOfDay, nullptr},
      {"zvMonoliticTime_GetTime", nullptr, GetMonotonicTime, nullptr},
      {"zvTime_GetTickCount", nullptr, GetTickCount, nullptr},
      {"zvThread_GetCurrentThreadID", nullptr, GetThread, nullptr},
      {"a function with a silent message", nullptr, SilentMessage, nullptr},
      {"the same function without it", nullptr, NoMessage, nullptr},
  };
  return kPaths;
}

}  // namespace costtest
