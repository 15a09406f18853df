// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The C++ interface beside the flat calls that it stands for, in place of the system's: it is inline, and is
// to cost nothing. Both sides of a row use the same object.

#include <zvOS/zvOS.hpp>

#include "support/Network.h"
#include "support/Rows.h"

#include <array>
#include <mutex>

namespace zvbench {
namespace {

constexpr size_t kSmall = 64;
constexpr Target kNothing = RatioAtMost(1.02);

Sides MutexPair() {
  auto theMutex = std::make_shared<zv::Mutex>();
  if (!*theMutex) Fail("zv::Mutex cannot be made");
  return {Repeat([theFlat = theMutex->Handle()] {
            const int theFailures = zvMutex_Lock(theFlat);
            return theFailures | zvMutex_Unlock(theFlat);
          }),
          Repeat([theOurs = theMutex.get()] {
            const std::lock_guard theGuard(*theOurs);
            return 0;
          }),
          {theMutex}};
}

// Two connected sockets and what they move.
struct Connection {
  zv::Socket mSender;
  zv::Socket mReceiver;
  std::array<char, kSmall> mBuffer = {};

  Connection() {
    auto theListener = zv::Socket::Listening(zv::Address::Loopback(), 1, "zvos_bench");
    auto theSender =
        zv::Socket::Connected(theListener ? *theListener->OwnAddress() : zv::Address(), "zvos_bench");
    auto theReceiver = theListener ? theListener->Accept() : zv::Result<zv::Socket>(theListener.error());
    if (!theSender || !theReceiver || !theSender->SetTCPNoDelay(true)) Fail("zv::Socket cannot be connected");
    mSender = *std::move(theSender);
    mReceiver = *std::move(theReceiver);
  }
};

Sides SendAndReceivePair() {
  auto theConnection = std::make_shared<Connection>();
  return {
      Repeat([theFlat = theConnection.get()] {
        char *const theBuffer = theFlat->mBuffer.data();
        const int theSent = zvSocketSend(theFlat->mSender.Descriptor(), theBuffer, kSmall, 0, "zvos_bench");
        const int theReceived =
            zvSocketRecv(theFlat->mReceiver.Descriptor(), theBuffer, kSmall, MSG_WAITALL, "zvos_bench");
        return (theSent != int{kSmall}) | (theReceived != int{kSmall});
      }),
      Repeat([theOurs = theConnection.get()] {
        char *const theBuffer = theOurs->mBuffer.data();
        const auto theSent = theOurs->mSender.Send(theBuffer, kSmall);
        const auto theReceived = theOurs->mReceiver.Recv(theBuffer, kSmall, MSG_WAITALL);
        return static_cast<int>(!theSent || *theSent != kSmall) | (!theReceived || *theReceived != kSmall);
      }),
      {theConnection}};
}

Sides FileReadPair() {
  auto theFile = std::make_shared<zv::Result<zv::File>>(zv::File::Open("/dev/zero", zvFileOpenMode_Read));
  if (!*theFile) Fail("zv::File cannot be opened");
  return {Repeat([theFlat = (*theFile)->Handle()] {
            std::array<char, kSmall> theBuffer;
            const int theCount = zvFile_Read(theFlat, theBuffer.data(), kSmall);
            KeepAlive(theBuffer);
            return static_cast<int>(theCount != int{kSmall});
          }),
          Repeat([theOurs = &**theFile] {
            std::array<char, kSmall> theBuffer;
            const auto theCount = theOurs->Read(theBuffer.data(), kSmall);
            KeepAlive(theBuffer);
            return static_cast<int>(!theCount || *theCount != kSmall);
          }),
          {theFile}};
}

}  // namespace

std::vector<Row> CppRows() {
  return {
      {"C++: mutex lock+unlock", "zvMutex_Lock, zvMutex_Unlock", "std::lock_guard of a zv::Mutex", kNothing,
       MutexPair},
      {"C++: send+recv, 64 bytes", "zvSocketSend, zvSocketRecv", "zv::Socket: Send, Recv", kNothing,
       SendAndReceivePair},
      {"C++: read of a file, 64 bytes", "zvFile_Read", "zv::File: Read", kNothing, FileReadPair},
  };
}

}  // namespace zvbench
