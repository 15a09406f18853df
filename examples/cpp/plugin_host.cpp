// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Gives each plug-in a thread. One that crashes takes the host with it, but not before the log has its
// back-trace and the crash file the rest: the report says whose function it was.
//
//   plugin_host PLUGIN...      each has a function: int Plugin_Run(const char *aName)

#include <zvOS/zvOS.hpp>

#include <cstdio>
#include <list>

namespace {

struct Guest {
  const char *mName;
  zv::Plugin mPlugin;
  int mResult = 0;
  zv::Thread mThread;  // the last: it ends before the plug-in is unloaded
};

bool Begin(Guest &aGuest) {
  auto thePlugin = zv::Plugin::Load(aGuest.mName);
  if (!thePlugin) return false;
  aGuest.mPlugin = *std::move(thePlugin);
  const auto theRun = aGuest.mPlugin.Symbol<int(const char *)>("Plugin_Run");
  if (!theRun) return false;
  auto theThread = zv::Thread::Start([&aGuest, theRun] { aGuest.mResult = (*theRun)(aGuest.mName); });
  if (!theThread) return false;
  aGuest.mThread = *std::move(theThread);
  return true;
}

}  // namespace

int main(int aCount, char **someArguments) {
  if (aCount < 2) {
    std::fputs("usage: plugin_host PLUGIN...\n", stderr);
    return 2;
  }
  std::list<Guest> theGuests;
  int theStatus = 0;
  for (int i = 1; i < aCount; ++i) {
    if (Begin(theGuests.emplace_back(Guest{someArguments[i], {}, 0, {}}))) continue;
    std::printf("%s: not begun\n", someArguments[i]);
    theGuests.pop_back();
    theStatus = 1;
  }
  for (Guest &theGuest : theGuests) {
    theGuest.mThread.join();
    std::printf("%s: %d\n", theGuest.mName, theGuest.mResult);
  }
  return theStatus;
}
