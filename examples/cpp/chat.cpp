// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A chat server: what one client says, all others hear. A policy says who may connect, the table of sockets
// goes to the log at every change, and SIGTERM or SIGINT ends it in good order.

#include <zvLog/zvLogSettings.h>
#include <zvOS/zvOS.hpp>

#include <csignal>
#include <cstdio>
#include <list>
#include <string_view>

namespace {

constexpr char kUsage[] = "usage: chat [POLICY]  3, the default: this machine; 2: all others; 1: all\n";
constexpr size_t kMostClients = 40;

class Chat {
 public:
  Chat(zv::Socket aListener, uint32 aPolicy) : mListener(std::move(aListener)), mPolicy(aPolicy) {}

  // Until the trigger comes.
  void Serve(zv::SelectObject &aSelect) {
    for (;;) {
      zv::DescriptorSet theSet;
      bool afPlace = theSet.Add(mListener);
      for (const zv::Socket &theClient : mClients)
        afPlace = theSet.Add(theClient) && afPlace;
      const auto theReady = aSelect.Select(&theSet);
      if (!theReady || !afPlace) continue;
      if (theReady->mfTriggered) return;
      for (zv::Socket &theClient : mClients) {
        if (theSet.Contains(theClient)) Hear(theClient);
      }
      if (theSet.Contains(mListener)) Admit();
      mClients.remove_if([](const zv::Socket &aClient) { return !aClient; });
      std::printf("%zu here\n", mClients.size());
    }
  }

  void End() {
    SendToOthers(mListener, "bye\n");
    std::printf("ended with %zu here\n", mClients.size());
  }

 private:
  // Nobody is waited for: who does not keep up is dropped.
  void SendToOthers(const zv::Socket &aSender, std::string_view aText) {
    for (zv::Socket &theClient : mClients) {
      if (&theClient == &aSender || !theClient) continue;
      const auto theSent = theClient.Send(aText.data(), aText.size(), MSG_DONTWAIT);
      if (!theSent || *theSent != aText.size()) theClient = zv::Socket();
    }
  }

  void Hear(zv::Socket &aClient) {
    char theText[1024];
    const size_t theLength = aClient.Recv(theText, sizeof(theText)).value_or(0);
    if (theLength == 0) aClient = zv::Socket();
    if (theLength > 0) SendToOthers(aClient, {theText, theLength});
  }

  void Admit() {
    auto theClient = mListener.Accept(nullptr, "chat client");
    if (!theClient) return;
    const bool afWelcome = mClients.size() < kMostClients && mPolicy.AcceptConnection(*theClient);
    if (afWelcome) mClients.push_back(*std::move(theClient));
    if (!afWelcome) std::puts("refused");
  }

  zv::Socket mListener;
  zv::Policy mPolicy;
  std::list<zv::Socket> mClients;  // a socket that is none has gone
};

}  // namespace

int main(int aCount, char **someArguments) {
  const std::string_view theKind = aCount > 1 ? someArguments[1] : "3";
  if (aCount > 2 || theKind.size() != 1 || theKind[0] < '1' || theKind[0] > '3') {
    std::fputs(kUsage, stderr);
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  zvLog_SetModuleLevel(ZVLOG_M_SOCKETTRACKER, kzvLogLevel_Debug);
  sigset_t theEndSignals;
  sigemptyset(&theEndSignals);
  sigaddset(&theEndSignals, SIGTERM);
  sigaddset(&theEndSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &theEndSignals, nullptr);

  zv::SelectObject theSelect;
  auto theListener = zv::Socket::Listening(zv::Address::Any(), 5, "chat");
  const auto theAddress = theListener ? theListener->OwnAddress() : theListener.error();
  if (!theSelect || !theAddress) return 1;
  // A handler may not trigger a wait; a thread may.
  const auto theThread = zv::Thread::Start([&] {
    int theSignal;
    sigwait(&theEndSignals, &theSignal);
    theSelect.Trigger();
  });
  if (!theThread) return 1;
  std::printf("listening on port %u\n", theAddress->Port());

  Chat theChat(*std::move(theListener), static_cast<uint32>(theKind[0] - '0'));
  theChat.Serve(theSelect);
  theChat.End();
  return 0;
}
