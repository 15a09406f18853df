// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Several hosts on one machine: namespaces of the kernel, joined by virtual cables. Nothing of it can
// be seen from the machine's own network, and nothing is left when a test ends.
//
//   TEST(Something, CrossesTheCable) {
//     OnOwnHost([] {
//       Neighbour theNeighbour;
//       int theReceiver = -1;
//       theNeighbour.Run([&] { theReceiver = ...; });   // a socket stays on the host that made it
//       ... send to theNeighbour.There() ...
//     });
//   }
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <zvOS/zvTypes.h>

namespace zvtest {

// Why this machine cannot give a test a host of its own; empty when it can.
const std::string &WhyNoOwnHost();

// Runs aBody in a child process on a host of its own: its network is a loopback interface that is
// down, its /tmp and /run are empty, its host name is "zvtest". Expectations that fail there, memory
// that leaks there under the leak checker, and more than aSeconds, fail the test. On a machine that
// does not allow it the test is skipped and says why.
void OnOwnHost(const std::function<void()> &aBody, double aSeconds = 60);

// Changes the network of the current host: commands of ip(8), without the "ip", made in order. A
// command that fails is a failure of the test, and false. Within OnOwnHost only.
bool Ip(const std::vector<std::string> &someCommands);

// Waits until all of the interfaces, which are up, can send.
void WaitForLinks(const std::vector<std::string> &someInterfaces);

// Address in network byte order of a dotted form.
uint32 Address(const char *aDottedForm);

// Another host at the other end of a cable. The cable's end is called "eth0" on both hosts.
class Neighbour {
 public:
  static constexpr const char *kHere = "10.9.0.1";   // our address, in a /24 network
  static constexpr const char *kThere = "10.9.0.2";  // the neighbour's
  static constexpr const char *kHardwareHere = "02:00:00:09:00:01";
  static constexpr const char *kHardwareThere = "02:00:00:09:00:02";

  // The host exists as long as the object or anything that it opened.
  Neighbour();
  ~Neighbour();
  Neighbour(const Neighbour &) = delete;
  Neighbour &operator=(const Neighbour &) = delete;

  // Runs aBody on the neighbour's network: sockets made there, and programs started there, stay there.
  // The rest, files and all, is that of the host of the test. For the thread that runs the test.
  void Run(const std::function<void()> &aBody) const;

 private:
  int mHere;
  int mThere;
};

// A program that runs in the background, and is killed with the object.
class Daemon {
 public:
  // Starts a program that is not part of the build; both outputs go to the file aLog.
  Daemon(const std::vector<std::string> &aCommand, const std::string &aLog);
  ~Daemon();
  Daemon(const Daemon &) = delete;
  Daemon &operator=(const Daemon &) = delete;

  // It keeps what it has open, and does nothing any more.
  void Freeze() const;

 private:
  int mPid;
};

}  // namespace zvtest
