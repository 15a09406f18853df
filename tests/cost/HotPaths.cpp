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

void Lock(Stage &aStage) {
  aStage.Expect(zvMutex_Lock(aStage.mMutex) == 0);
}
void Unlock(Stage &aStage) {
  aStage.Expect(zvMutex_Unlock(aStage.mMutex) == 0);
}
void Enter(Stage &aStage) {
  aStage.Expect(zvCriticalSection_Enter(aStage.mSection) == 0);
}
void Leave(Stage &aStage) {
  aStage.Expect(zvCriticalSection_Leave(aStage.mSection) == 0);
}
void Post(Stage &aStage) {
  aStage.Expect(zvSemaphore_Post(aStage.mSemaphore) == 0);
}
void Wait(Stage &aStage) {
  aStage.Expect(zvSemaphore_Wait(aStage.mSemaphore) == 0);
}
void Signal(Stage &aStage) {
  aStage.Expect(zvCondition_Signal(aStage.mCondition) == 0);
}

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
      {"zvMutex_Lock", nullptr, Lock, Unlock},
      {"zvMutex_Unlock", Lock, Unlock, nullptr},
      {"zvCriticalSection_Enter", nullptr, Enter, Leave},
      {"zvCriticalSection_Leave", Enter, Leave, nullptr},
      {"zvSemaphore_Post", Wait, Post, nullptr},
      {"zvSemaphore_Wait", nullptr, Wait, Post},
      {"zvCondition_Signal", nullptr, Signal, nullptr},
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
