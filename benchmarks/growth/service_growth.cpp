// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The file service with many clients at a time: all are connected and greeted before the first asks for its
// file.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/Network.h"
#include "growth/growth.h"

namespace zvbench {
namespace {

constexpr size_t kFileSize = 64 * 1024;
constexpr char kGreeting[] = "zvos-files 1 ready\n";
constexpr char kRequest[] = "get file\n";
constexpr char kAnswer[] = "data 65536\n";
constexpr char kEnd[] = "crc32 01234567\n";
constexpr size_t kAnswerSize = sizeof(kAnswer) - 1 + kFileSize + sizeof(kEnd) - 1;

// The program of the same build.
std::string Program() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "zvos";
}

class Server {
 public:
  Server() {
    const std::string theServed = mFolder / "served";
    if (mkdir(theServed.c_str(), 0700) != 0) Fail("cannot make the folder to be served");
    std::ofstream(theServed + "/file") << std::string(kFileSize, 'x');
    mProcess = fork();
    if (mProcess < 0) Fail("cannot start a process");
    if (mProcess == 0) Become(theServed);
    WaitForAddress();
  }
  ~Server() {
    int theStatus = 0;
    kill(mProcess, SIGTERM);
    waitpid(mProcess, &theStatus, 0);
  }
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  uint16 Port() const { return mPort; }

  // The most memory that it has had.
  uint64 Memory() const {
    std::ifstream theFile("/proc/" + std::to_string(mProcess) + "/status");
    for (std::string theLine; std::getline(theFile, theLine);) {
      if (theLine.rfind("VmHWM:", 0) == 0) return 1024 * std::stoull(theLine.substr(6));
    }
    Fail("the server has ended");
  }

 private:
  [[noreturn]] void Become(const std::string &aServed) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int theOutput = open(mOutput.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    dup2(theOutput, STDOUT_FILENO);
    execl(Program().c_str(), "zvos", "serve", "--bind", "127.0.0.1", aServed.c_str(), nullptr);
    _exit(127);
  }

  // The end of "serving DIR on ADDR:PORT".
  void WaitForAddress() {
    for (int i = 0; i < 1000; ++i) {
      std::ifstream theFile(mOutput);
      std::string theLine;
      if (std::getline(theFile, theLine) && !theFile.eof()) {
        mPort = static_cast<uint16>(std::stoi(theLine.substr(theLine.rfind(':') + 1)));
        return;
      }
      usleep(10000);
    }
    Fail("zvos serve does not say where it is");
  }

  const ScratchFolder mFolder;
  const std::string mOutput = mFolder / "output";
  pid_t mProcess;
  uint16 mPort = 0;
};

class Client {
 public:
  explicit Client(uint16 aPort) : mSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    struct sockaddr_in theAddress = LoopbackAddress(aPort);
    if (mSocket < 0 || connect(mSocket, Generic(&theAddress), sizeof(theAddress)) != 0)
      Fail("a client cannot connect");
    // The connection is gone at its end: so many of them would use up the ports otherwise.
    const struct linger theLinger = {1, 0};
    setsockopt(mSocket, SOL_SOCKET, SO_LINGER, &theLinger, sizeof(theLinger));
  }
  ~Client() { close(mSocket); }
  Client(const Client &) = delete;
  Client &operator=(const Client &) = delete;

  int Socket() const { return mSocket; }

  void TakeGreeting() const {
    char theText[sizeof(kGreeting) - 1];
    if (recv(mSocket, theText, sizeof(theText), MSG_WAITALL) != sizeof(theText) ||
        memcmp(theText, kGreeting, sizeof(theText)) != 0) {
      Fail("the server does not greet a client");
    }
  }
  void Request() const {
    if (send(mSocket, kRequest, sizeof(kRequest) - 1, MSG_NOSIGNAL) != sizeof(kRequest) - 1)
      Fail("a client cannot ask");
  }

  // True at the end of what the server sends.
  bool Receive(std::vector<char> &aBuffer) {
    const ssize_t theCount = recv(mSocket, aBuffer.data(), aBuffer.size(), MSG_DONTWAIT);
    if (theCount > 0) mReceived += static_cast<size_t>(theCount);
    if (theCount != 0) return false;
    if (mReceived != kAnswerSize) Fail("a client does not get its file");
    return true;
  }

 private:
  const int mSocket;
  size_t mReceived = 0;
};

void Fetch(uint16 aPort, uint32 aCount, std::vector<char> &aBuffer) {
  std::vector<std::unique_ptr<Client>> theClients;
  std::vector<struct pollfd> theWaits;
  for (uint32 i = 0; i < aCount; ++i) {
    theClients.push_back(std::make_unique<Client>(aPort));
    theWaits.push_back({theClients.back()->Socket(), POLLIN, 0});
  }
  for (const auto &theClient : theClients)
    theClient->TakeGreeting();
  for (const auto &theClient : theClients)
    theClient->Request();
  for (uint32 theLeft = aCount; theLeft > 0;) {
    if (poll(theWaits.data(), theWaits.size(), -1) < 0) Fail("poll failed");
    for (uint32 i = 0; i < aCount; ++i) {
      if (theWaits[i].revents == 0 || !theClients[i]->Receive(aBuffer)) continue;
      theWaits[i].fd = -1;  // is left out of the wait
      --theLeft;
    }
  }
}

std::optional<Trial> Fetching(uint32 aCount) {
  struct rlimit theLimit = {};
  getrlimit(RLIMIT_NOFILE, &theLimit);
  theLimit.rlim_cur = theLimit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &theLimit);
  if (access(Program().c_str(), X_OK) != 0) {
    fprintf(stderr,
            "zvos_growth: no row of the file service, for there is no program zvos beside this one\n");
    return std::nullopt;
  }
  const auto theServer = std::make_shared<const Server>();
  const auto theBuffer = std::make_shared<std::vector<char>>(kFileSize);
  return Trial{{},
               [=](uint32 aRepeats) {
                 for (uint32 i = 0; i < aRepeats; ++i)
                   Fetch(theServer->Port(), aCount, *theBuffer);
               },
               static_cast<double>(aCount),
               [aServer = theServer.get()] { return aServer->Memory(); },
               {}};
}

}  // namespace

std::vector<GrowthRow> ServiceGrowth() {
  return {{"file service: get 64 KiB",
           "clients at a time",
           "for a client",
           "resident memory of the server at most",
           "none",
           "connections of one process to a running zvos serve",
           {1, 10, 100, 1000},
           Fetching}};
}

}  // namespace zvbench
