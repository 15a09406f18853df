// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Waking a thread that waits for sockets, beside a pipe and select(), which is what the library uses.

#include <fcntl.h>
#include <pthread.h>
#include <sys/select.h>
#include <unistd.h>

#include <zvOS/zvSocketSelect.h>

#include "support/Rows.h"

namespace zvbench {
namespace {

// Both sides wait for the wake-up alone.
class BareWake {
 public:
  BareWake() {
    if (pipe(mPipe) != 0) Fail("cannot make a pipe");
    if (mPipe[0] >= FD_SETSIZE || fcntl(mPipe[0], F_SETFL, O_NONBLOCK) != 0) Fail("cannot use a pipe");
  }
  ~BareWake() {
    close(mPipe[0]);
    close(mPipe[1]);
  }
  BareWake(const BareWake &) = delete;
  BareWake &operator=(const BareWake &) = delete;

  int Trigger() const { return write(mPipe[1], " ", 1) != 1; }

  // 0 once woken.
  int Wait() const {
    fd_set theSet;
    FD_ZERO(&theSet);
    FD_SET(mPipe[0], &theSet);
    if (select(mPipe[0] + 1, &theSet, nullptr, nullptr, nullptr) != 1 || !FD_ISSET(mPipe[0], &theSet)) {
      return 1;
    }
    char theBytes[256];
    return read(mPipe[0], theBytes, sizeof(theBytes)) < 1;
  }

 private:
  int mPipe[2];
};

class OurWake {
 public:
  OurWake() : mSelect(zvSocketSelect_New()) {
    if (mSelect == nullptr) Fail("zvSocketSelect_New failed");
  }
  ~OurWake() { zvSocketSelect_Delete(mSelect); }
  OurWake(const OurWake &) = delete;
  OurWake &operator=(const OurWake &) = delete;

  int Trigger() const {
    zvSocketSelect_Trigger(mSelect);
    return 0;
  }

  int Wait() const {
    int afTriggered = 0;
    const int theCount = zvSocketSelect_Select(mSelect, nullptr, nullptr, nullptr, 0, nullptr, &afTriggered);
    return (theCount != 1) | (afTriggered != 1);
  }

 private:
  zvSocketSelect *const mSelect;
};

Sides WakingOneself() {
  auto theBare = std::make_shared<BareWake>();
  auto theOurs = std::make_shared<OurWake>();
  return {Repeat([theWake = theBare.get()] { return theWake->Trigger() | theWake->Wait(); }),
          Repeat([theWake = theOurs.get()] { return theWake->Trigger() | theWake->Wait(); }),
          {theBare, theOurs}};
}

// Two threads that wake each other. Both share the processor of the program, so a round trip is two
// wake-ups and two changes of thread.
template <typename Wake>
class WakingEachOther {
 public:
  WakingEachOther() {
    if (pthread_create(&mPartner, nullptr, Start, this) != 0) Fail("cannot start a thread");
  }
  ~WakingEachOther() {
    mfEnd = true;
    RoundTrip();
    pthread_join(mPartner, nullptr);
  }
  WakingEachOther(const WakingEachOther &) = delete;
  WakingEachOther &operator=(const WakingEachOther &) = delete;

  int RoundTrip() { return mPartnersWake.Trigger() | mCallersWake.Wait(); }

 private:
  void Play() {
    int theFailures = 0;
    bool afEnd = false;
    while (!afEnd) {
      theFailures |= mPartnersWake.Wait();
      afEnd = mfEnd;
      theFailures |= mCallersWake.Trigger();
    }
    if (theFailures != 0) Fail("the partner that is woken failed");
  }

  static void *Start(void *anObject) {
    static_cast<WakingEachOther *>(anObject)->Play();
    return nullptr;
  }

  Wake mPartnersWake;
  Wake mCallersWake;
  bool mfEnd = false;  // written before a trigger, read behind the wait that it ends
  pthread_t mPartner{};
};

}  // namespace

std::vector<Row> SelectRows() {
  return {
      {"trigger and wake, one thread", "write to a pipe, select, read", "zvSocketSelect_Trigger, _Select",
       RatioAtMost(1.05), WakingOneself},
      {"trigger and wake, two threads",
       "two threads that wake each other, there and back: write to a pipe, select, read",
       "the same with zvSocketSelect_Trigger, _Select", RatioAtMost(1.05),
       RoundTrips<WakingEachOther<BareWake>, WakingEachOther<OurWake>>},
  };
}

}  // namespace zvbench
