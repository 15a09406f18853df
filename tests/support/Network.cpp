// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Network.h"

#include "support/Support.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace zvtest {
namespace {

// Exit status of a child that could not get a host of its own.
constexpr int kNoHost = 2;

constexpr char kHostName[] = "zvtest";
constexpr char kPrivateFolders[][9] = {"/tmp", "/run", "/var/run"};

[[noreturn]] void NoHost(const char *aCall) {
  printf("%s: %s", aCall, strerror(errno));
  fflush(stdout);
  _exit(kNoHost);
}

// A file of /proc, written in one piece.
void WriteProc(const char *aPath, const std::string &aText) {
  const int theFile = open(aPath, O_WRONLY | O_CLOEXEC);
  if (theFile < 0 || write(theFile, aText.data(), aText.size()) != static_cast<ssize_t>(aText.size())) {
    NoHost(aPath);
  }
  close(theFile);
}

// Whoever is not the superuser becomes it within namespaces of their own, where that is allowed.
void BecomeSuperuser() {
  const auto theUser = std::to_string(geteuid());
  const auto theGroup = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER) != 0) NoHost("not root, and unshare(CLONE_NEWUSER)");
  WriteProc("/proc/self/setgroups", "deny");
  WriteProc("/proc/self/uid_map", "0 " + theUser + " 1");
  WriteProc("/proc/self/gid_map", "0 " + theGroup + " 1");
}

// Only folders that are not another name of one before them are mounted on.
bool IsFolderOfItsOwn(const char *aPath) {
  char theRealPath[PATH_MAX];
  return realpath(aPath, theRealPath) != nullptr && strcmp(aPath, theRealPath) == 0;
}

void MoveToOwnHost() {
  if (geteuid() != 0) BecomeSuperuser();
  if (unshare(CLONE_NEWNET | CLONE_NEWNS | CLONE_NEWUTS) != 0) NoHost("unshare");
  if (sethostname(kHostName, strlen(kHostName)) != 0) NoHost("sethostname");
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) NoHost("mount /");
  for (const char *theFolder : kPrivateFolders) {
    if (IsFolderOfItsOwn(theFolder) && mount("none", theFolder, "tmpfs", 0, "mode=1777") != 0) {
      NoHost("mount tmpfs");
    }
  }
}

// The build's own files may lie under a folder that was hidden; tools that look at them at the end of
// the process find them again.
void UncoverFolders() {
  for (const char *theFolder : kPrivateFolders)
    if (IsFolderOfItsOwn(theFolder)) umount2(theFolder, MNT_DETACH);
}

ChildResult RunOnOwnHost(const std::function<void()> &aBody, double aSeconds) {
  return RunPartInChild(
      [&] {
        MoveToOwnHost();
        aBody();
        UncoverFolders();
      },
      aSeconds);
}

ChildResult RunSystemProgram(const std::vector<std::string> &aCommand) {
  std::vector<char *> theArguments;
  for (const std::string &theWord : aCommand)
    theArguments.push_back(const_cast<char *>(theWord.c_str()));
  theArguments.push_back(nullptr);
  return RunInChild([&] {
    execvp(theArguments[0], theArguments.data());
    dprintf(STDERR_FILENO, "%s: %s\n", theArguments[0], strerror(errno));
    return 127;
  });
}

// What a host of its own must allow: tried once, with everything that the tests use.
void TryEverything() {
  const ChildResult theProgram = RunSystemProgram({"ip", "-V"});
  if (theProgram.mStatus != 0) {
    printf("%s", theProgram.mError.c_str());
    fflush(stdout);
    _exit(kNoHost);
  }
  const Neighbour theNeighbour;
}

std::string FindWhyNoOwnHost() {
  const ChildResult theResult = RunOnOwnHost(TryEverything, 30);
  if (!theResult.mfSignaled && theResult.mStatus == 0) return {};
  return "needs network namespaces (root or user namespaces), veth pairs and ip(8): " + theResult.mOutput +
         theResult.mError;
}

bool IsRunning(const std::string &anInterface) {
  const int theSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq theRequest = {};
  anInterface.copy(theRequest.ifr_name, IFNAMSIZ - 1);
  const bool theAnswer = ioctl(theSocket, SIOCGIFFLAGS, &theRequest) == 0 &&
                         (theRequest.ifr_flags & (IFF_UP | IFF_RUNNING)) == (IFF_UP | IFF_RUNNING);
  close(theSocket);
  return theAnswer;
}

// The network namespace of this thread.
int OpenOwnNetwork() {
  const int theNamespace = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
  if (theNamespace < 0) ADD_FAILURE() << "/proc/thread-self/ns/net: " << strerror(errno);
  return theNamespace;
}

void EnterNetwork(int aNamespace) {
  if (setns(aNamespace, CLONE_NEWNET) != 0) ADD_FAILURE() << "setns: " << strerror(errno);
}

}  // namespace

const std::string &WhyNoOwnHost() {
  static const std::string theReason = FindWhyNoOwnHost();
  return theReason;
}

void OnOwnHost(const std::function<void()> &aBody, double aSeconds) {
  if (!WhyNoOwnHost().empty()) GTEST_SKIP() << WhyNoOwnHost();
  ExpectPassed(RunOnOwnHost(aBody, aSeconds));
}

bool Ip(const std::vector<std::string> &someCommands) {
  std::string theText;
  for (const std::string &theCommand : someCommands)
    theText += theCommand + "\n";
  const std::string theFile = "/tmp/ip-commands";
  WriteWholeFile(theFile, theText);
  const ChildResult theResult = RunSystemProgram({"ip", "-batch", theFile});
  if (theResult.mStatus != 0) ADD_FAILURE() << theText << theResult.mOutput << theResult.mError;
  unlink(theFile.c_str());
  return theResult.mStatus == 0;
}

void WaitForLinks(const std::vector<std::string> &someInterfaces) {
  for (const std::string &theInterface : someInterfaces) {
    EXPECT_TRUE(WaitUntil([&] { return IsRunning(theInterface); })) << theInterface << " does not come up";
  }
}

uint32 Address(const char *aDottedForm) {
  in_addr theAddress = {};
  if (inet_pton(AF_INET, aDottedForm, &theAddress) != 1) ADD_FAILURE() << aDottedForm << " is no address";
  return theAddress.s_addr;
}

Neighbour::Neighbour() : mHere(OpenOwnNetwork()), mThere(-1) {
  if (unshare(CLONE_NEWNET) != 0) ADD_FAILURE() << "unshare: " << strerror(errno);
  mThere = OpenOwnNetwork();
  EnterNetwork(mHere);

  const std::string thePath = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(mThere);
  const bool isConnected = Ip(
      {"link set lo up",
       std::string("link add eth0 address ") + kHardwareHere + " type veth peer name eth0 address " +
           kHardwareThere + " netns " + thePath,
       std::string("addr add ") + kHere + "/24 dev eth0", "link set eth0 up", "route add default dev eth0"});
  if (!isConnected) return;
  Run([] {
    Ip({"link set lo up", std::string("addr add ") + kThere + "/24 dev eth0", "link set eth0 up",
        "route add default dev eth0"});
    WaitForLinks({"eth0"});
  });
  WaitForLinks({"eth0"});
}

Neighbour::~Neighbour() {
  close(mThere);
  close(mHere);
}

void Neighbour::Run(const std::function<void()> &aBody) const {
  EnterNetwork(mThere);
  aBody();
  EnterNetwork(mHere);
}

Daemon::Daemon(const std::vector<std::string> &aCommand, const std::string &aLog) : mPid(-1) {
  std::vector<char *> theArguments;
  for (const std::string &theWord : aCommand)
    theArguments.push_back(const_cast<char *>(theWord.c_str()));
  theArguments.push_back(nullptr);
  mPid = fork();
  if (mPid < 0) ADD_FAILURE() << "fork: " << strerror(errno);
  if (mPid != 0) return;

  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int theLog = open(aLog.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(theLog, STDOUT_FILENO);
  dup2(theLog, STDERR_FILENO);
  execvp(theArguments[0], theArguments.data());
  dprintf(STDERR_FILENO, "%s: %s\n", theArguments[0], strerror(errno));
  _exit(127);
}

Daemon::~Daemon() {
  if (mPid <= 0) return;
  kill(mPid, SIGKILL);
  waitpid(mPid, nullptr, 0);
}

void Daemon::Freeze() const {
  int theStatus = 0;
  if (kill(mPid, SIGSTOP) != 0 || waitpid(mPid, &theStatus, WUNTRACED) != mPid || !WIFSTOPPED(theStatus)) {
    ADD_FAILURE() << "the daemon cannot be stopped";
  }
}

}  // namespace zvtest
