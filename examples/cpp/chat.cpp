// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A chat server: what one client says, all others hear. A policy says who may connect, the table of sockets
// goes to the log at every change, and SIGTERM or SIGINT ends it in good order.
//
//   chat [POLICY]      3, the default: this machine only; 2: every machine but this one; 1: all

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvOS.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

constexpr size_t kMostClients = 40;

class Chat {
 public:
  Chat(zv::Socket aListener, uint32 aPolicy) : mListener(std::move(aListener)), mPolicy(aPolicy) {}

  // Until the trigger comes. Dropping moves the last one: clients are heard from the end, and nobody twice.
  void Serve(zv::SelectObject &aSelect) {
    for (;;) {
      zv::DescriptorSet theSet;
      bool afPlace = theSet.Add(mListener);
      for (const zv::Socket &theClient : mClients)
        afPlace = theSet.Add(theClient) && afPlace;
      const auto theReady = aSelect.Select(&theSet);
      if (!theReady || !afPlace) continue;
      if (theReady->mfTriggered) return;
      for (size_t i = mClients.size(); i-- > 0;) {
        if (i >= mClients.size() || !theSet.Contains(mClients[i])) continue;
        theSet.Remove(mClients[i]);
        Hear(i);
      }
      if (theSet.Contains(mListener)) Admit();
    }
  }

  void End() {
    SendToOthers(zv::Socket(), "bye\n");
    std::printf("ended with %zu here\n", mClients.size());
  }

 private:
  void Drop(size_t anIndex) {
    mClients[anIndex] = std::move(mClients.back());
    mClients.pop_back();
    std::printf("%zu here\n", mClients.size());
  }

  // Nobody is waited for: who does not keep up is dropped. From the end, as dropping moves the last one.
  void SendToOthers(const zv::Socket &aSender, std::string_view aText) {
    const int theSender = aSender.Descriptor();
    for (size_t i = mClients.size(); i-- > 0;) {
      if (mClients[i].Descriptor() == theSender) continue;
      if (mClients[i].Send(aText.data(), aText.size(), MSG_DONTWAIT).value_or(0) != aText.size()) Drop(i);
    }
  }

  void Admit() {
    auto theClient = mListener.Accept(nullptr, "chat client");
    if (!theClient) return;
    if (mClients.size() == kMostClients || !mPolicy.AcceptConnection(*theClient)) {
      std::puts("refused");
      return;
    }
    mClients.push_back(*std::move(theClient));
    std::printf("%zu here\n", mClients.size());
  }

  void Hear(size_t anIndex) {
    char theText[1024];
    const size_t theLength = mClients[anIndex].Recv(theText, sizeof(theText)).value_or(0);
    if (theLength > 0) return SendToOthers(mClients[anIndex], {theText, theLength});
    Drop(anIndex);
  }

  zv::Socket mListener;
  zv::Policy mPolicy;
  std::vector<zv::Socket> mClients;
};

}  // namespace

int main(int aCount, char **someArguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRACKER, kzvLogLevel_Debug);
  sigset_t theEndSignals;
  sigemptyset(&theEndSignals);
  sigaddset(&theEndSignals, SIGTERM);
  sigaddset(&theEndSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &theEndSignals, nullptr);

  // A handler may not trigger a wait; a thread may.
  zv::SelectObject theSelect;
  auto theThread = zv::Thread::Start([&] {
    int theSignal;
    sigwait(&theEndSignals, &theSignal);
    theSelect.Trigger();
  });
  auto theListener = zv::Socket::Listening(zv::Address::Any(), 5, "chat");
  if (!theSelect || !theThread || !theListener) return 1;
  const auto theAddress = theListener->OwnAddress();
  if (!theAddress) return 1;
  std::printf("listening on port %u\n", theAddress->Port());

  Chat theChat(*std::move(theListener), aCount > 1 ? static_cast<uint32>(std::atoi(someArguments[1]))
                                                   : uint32{kzvSocketPolicy_IP_LocalHostOnly});
  theChat.Serve(theSelect);
  theChat.End();
  return 0;
}
