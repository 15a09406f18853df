// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Uses all of the C++ interface; linked as a C program is, without a C++ library.

#include <zvOS/zvOS.hpp>

#include <mutex>

namespace {

bool Synchronise() {
  zv::Mutex theMutex;
  zv::CriticalSection theSection;
  zv::Condition theCondition;
  zv::Semaphore theSemaphore;
  bool afDone = false;
  auto theThread = zv::Thread::Start([&] {
    const std::lock_guard theGuard(theMutex);
    const std::lock_guard theOther(theSection);
    afDone = true;
    theCondition.notify_all();
    theSemaphore.release();
  });
  if (!theThread) return false;
  const std::lock_guard theGuard(theMutex);
  const bool afInTime = theCondition.wait_for(theMutex, std::chrono::minutes(1), [&] { return afDone; });
  return afInTime && theSemaphore.acquire().has_value() &&
         zv::Thread::StartDetached([] { zv::this_thread::sleep_for(std::chrono::nanoseconds(1)); });
}

bool UseFiles() {
  const zv::Text theProgram(zvPath_GetApplicationFullPath());
  auto theFile = zv::File::Open(theProgram.c_str(), zvFileOpenMode_Read);
  size_t theCount = 0;
  for (const auto &theEntry : zv::Directory("./"))
    theCount += theEntry.Name().size();
  return theFile && theFile->GetSize().value_or(0) > 0 && theCount > 0;
}

bool UseSockets() {
  zv::SelectObject theSelect;
  auto theListener = zv::Socket::Listening(zv::Address::Loopback(), 1, "listener");
  if (!theListener || !theSelect) return false;
  const auto theAddress = theListener->OwnAddress();
  auto theClient = zv::Socket::Connected(*theAddress, "client");
  zv::DescriptorSet theSet;
  if (!theClient || !theSet.Add(*theListener) || !theSelect.Select(&theSet)) return false;
  auto theServer = theListener->Accept();
  return theServer && zv::Policy(kzvSocketPolicy_IP_All).AcceptConnection(*theServer) &&
         theServer->Send("hello").has_value() && theAddress->AsText() != "127.0.0.1:0";
}

bool UseTheDevice() {
  auto thePair = zv::Pipe::Pair();
  auto theProcess = zv::Process::Open("true");
  auto theProgram = zv::Plugin::Load(nullptr);
  return thePair && theProcess && theProgram && theProgram->Symbol<int(int)>("abs").has_value() &&
         !zv::SingleInstance::Take("");
}

}  // namespace

int main() {
  if (!Synchronise()) return 1;
  if (!UseFiles()) return 2;
  if (!UseSockets()) return 3;
  return UseTheDevice() ? 0 : 4;
}
