// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Mistakes that the compiler is to refuse. check_refused.sh compiles the file once without any, which is to
// succeed, and once with each, which is not, for the reason that stands behind its number.

#include <zvOS/zvOS.hpp>

#include <mutex>

#ifndef MISTAKE
#define MISTAKE 0
#endif

void Use(zv::Mutex &aMutex, zv::Condition &aCondition, zv::Socket &aSocket, zv::Pipe &aPipe);
void Use(zv::Mutex &aMutex, zv::Condition &aCondition, zv::Socket &aSocket, zv::Pipe &aPipe) {
  char theBuffer[16] = "";
  const zv::Text theText(zvPath_GetTempDirPath());
#if MISTAKE == 1  // deleted: a lock is copied
  zv::Mutex theCopy(aMutex);
#elif MISTAKE == 2   // deleted: a socket is copied
  zv::Socket theCopy;
  theCopy = aSocket;
#elif MISTAKE == 3   // nodiscard: what could not be sent is not looked at
  aSocket.Send("text");
#elif MISTAKE == 4   // nodiscard: a socket that could not be opened is not looked at
  zv::Socket::Open();
#elif MISTAKE == 5   // nodiscard: whether the wait was in time is not looked at
  aCondition.wait_for(aMutex, std::chrono::seconds(1));
#elif MISTAKE == 6   // nodiscard: a descriptor is handed over to nobody
  aSocket.Release();
#elif MISTAKE == 7   // deleted: a label that changes
  theBuffer[0] = 'a';
  const zv::Socket theSocket(1, theBuffer);
#elif MISTAKE == 8   // no matching: a label that goes
  const zv::Socket theSocket(1, zv::Text(zvPath_GetTempDirPath()).c_str());
#elif MISTAKE == 9   // deleted: a view of a text that is gone
  const std::string_view theView = zv::Text(zvPath_GetTempDirPath());
#elif MISTAKE == 10  // say std::move: a socket is given away unawares
  if (!aPipe.SendFD(aSocket)) return;
#elif MISTAKE == 11  // no member named: a lock that the flat interface cannot try
  if (!aMutex.try_lock()) return;
#elif MISTAKE == 12  // cannot convert|no viable conversion: a result is taken for its value
  const size_t theCount = aSocket.Recv(theBuffer, sizeof(theBuffer));
#elif MISTAKE == 13  // called without arguments: a thread is given what cannot be called
  auto theThread = zv::Thread::Start(5);
#elif MISTAKE == 14  // invalid conversion|cannot (convert|initialize): a symbol is used as another type
  if (auto theSymbol = zv::Plugin().Symbol<int(int)>("name")) (*theSymbol)(theBuffer);
#elif MISTAKE == 15  // inaccessible|private: a thread is taken for an owner that does not wait
  zv::Thread theThread;
  zv::Owner<zvOSThread, zvThread_Delete> &theOwner = theThread;
  theOwner.swap(theOwner);
#elif MISTAKE == 16  // deleted: a view of a text that is gone, by its name
  const std::string_view theView = zv::Text(zvPath_GetTempDirPath()).View();
#elif MISTAKE == 17  // deleted: a text is asked by a comparison whether there is one
  if (theText == nullptr) return;
#elif MISTAKE == 18  // say std::move: a value that cannot be copied is copied
  const zv::Result<zv::Socket> theSocket = zv::Socket::Open();
  const zv::Socket theCopy = theSocket.value_or(zv::Socket());
#elif MISTAKE == 19  // gives no descriptor: a command is waited for in a set
  zv::DescriptorSet theSet;
  if (!theSet.Add(zv::Process())) return;
#elif MISTAKE == 20  // nodiscard: what a pipe could not write is not looked at
  aPipe.Close();
#elif MISTAKE == 21  // cannot convert|no viable conversion: any text is an address
  if (!zv::Socket::Listening(zv::Address::DotForm("127.0.0.l", 0))) return;
#endif
  if (theText == "/tmp" || "/tmp" != zv::Text(zvPath_GetTempDirPath())) return;
  const std::lock_guard theGuard(aMutex);
  if (aCondition.wait_for(aMutex, std::chrono::seconds(1)) == zv::WaitStatus::kError) return;
  if (!aSocket.Recv(theBuffer, sizeof(theBuffer)) || !aPipe.SendFD(std::move(aSocket))) return;
}
