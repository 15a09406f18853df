// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of the select object share.
#pragma once

#include <zvOS/zvSocketSelect.h>

#include "support/HandleChecks.h"
#include "socket_service_checks.h"

#include <sys/ioctl.h>

namespace zvtest {
namespace selects {

using net::Socket;

constexpr int kNoSockets = 0;
constexpr int kNotSet = 77;

// A set that can be filled in one expression.
struct Set : fd_set {
  Set(std::initializer_list<int> someDescriptors = {}) {
    FD_ZERO(this);
    for (const int theDescriptor : someDescriptors)
      FD_SET(theDescriptor, this);
  }
};

inline std::vector<int> MarkedIn(const fd_set &aSet) {
  std::vector<int> theResult;
  for (int i = 0; i < FD_SETSIZE; ++i) {
    if (FD_ISSET(i, &aSet)) theResult.push_back(i);
  }
  return theResult;
}

inline int BytesIn(int aDescriptor) {
  int theCount = -1;
  EXPECT_EQ(0, ioctl(aDescriptor, FIONREAD, &theCount));
  return theCount;
}

// A UDP socket of loopback, readable when asked to be.
class Receiver {
 public:
  explicit Receiver(bool afReadable) : mSocket(net::Bound(net::Datagram())) {
    if (afReadable) BecomeReadable();
  }

  void BecomeReadable() {
    sockaddr_in theAddress = OwnAddressOf(mSocket);
    EXPECT_EQ(1, sendto(mSocket, "x", 1, 0, net::Generic(&theAddress), sizeof(theAddress)));
    fd_set theReadSet = Set({mSocket});
    EXPECT_EQ(1, select(mSocket + 1, &theReadSet, nullptr, nullptr, nullptr));
  }

  operator int() const { return mSocket; }

 private:
  Socket mSocket;
};

class SocketSelect : public ::testing::Test {
 protected:
  SocketSelect() : mSelect(zvSocketSelect_New()) {
    Set theReadSet;
    mReader = zvSocketSelect_Prepare(mSelect, &theReadSet);
  }
  ~SocketSelect() override { zvSocketSelect_Delete(mSelect); }

  // A wait for the trigger alone.
  int WaitFor(long someMilliseconds, int *afTriggered) {
    timeval theTimeOut = {someMilliseconds / 1000, someMilliseconds % 1000 * 1000};
    return zvSocketSelect_Select(mSelect, nullptr, nullptr, nullptr, kNoSockets, &theTimeOut, afTriggered);
  }

  // Consumes what was triggered, and says whether anything was.
  int Triggered() {
    int afTriggered = kNotSet;
    EXPECT_GE(WaitFor(0, &afTriggered), 0);
    return afTriggered;
  }

  RecordingLog mLog;
  zvSocketSelect *mSelect;
  int mReader;
  timeval mLong = {60, 0};
  int mfTriggered = kNotSet;
};

}  // namespace selects
}  // namespace zvtest
