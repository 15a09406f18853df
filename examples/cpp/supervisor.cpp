// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A supervisor, of which there is one under a name: it takes connections, hands each to a worker process
// through a pipe, and starts another worker when that has died. When the supervisor ends, however that comes
// about, the name is free and the worker ends.
//
//   supervisor NAME [COMMAND]        COMMAND starts a worker: this program with --worker, if not given
//   supervisor --worker PIPE

#include <zvOS/zvOS.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

struct Worker {
  zv::Process mProcess;
  zv::Pipe mPipe;  // the last: it is closed before the end of the process is waited for
};

// It inherits one end of a pipe, whose number its command line names, and writes a byte when it is ready.
// When it ends before, so does the pipe.
zv::Result<Worker> StartWorker(const std::string &aCommand) {
  auto theEnds = zv::Pipe::Pair();
  if (!theEnds) return theEnds.error();
  fcntl(theEnds->mFirst.Descriptor(), F_SETFD,
        FD_CLOEXEC);  // for us alone: the worker ends when we have closed it
  const int theOther = theEnds->mSecond.Release();
  // To write to: what the worker prints goes where our own output goes.
  auto theProcess =
      zv::Process::Open((aCommand + " " + std::to_string(theOther)).c_str(), zvProcessOpenMode_Write);
  close(theOther);  // its owner would end the worker's, too
  if (!theProcess) return theProcess.error();
  Worker theWorker{*std::move(theProcess), std::move(theEnds->mFirst)};
  char theByte;
  if (theWorker.mPipe.Read(&theByte, 1).value_or(0) == 0) return zv::Error(-1, EPIPE);
  return theWorker;
}

zv::Result<Worker> ReplaceWorker(const std::string &aCommand) {
  for (int i = 0; i < 3; ++i) {
    if (auto theWorker = StartWorker(aCommand)) return theWorker;
  }
  std::puts("three workers have ended before they were ready");
  return zv::Error(-1, EPIPE);
}

// Empties the socket when it was sent; otherwise it stays open, and is for the next worker.
bool HandOver(Worker &aWorker, zv::Socket &aClient) {
  return aWorker.mPipe.SendFD(std::move(aClient)).has_value();
}

int Supervise(zv::Socket &aListener, const std::string &aCommand) {
  auto theWorker = ReplaceWorker(aCommand);
  while (theWorker) {
    auto theClient = aListener.Accept();
    if (!theClient) continue;
    while (theWorker && !HandOver(*theWorker, *theClient)) {
      std::puts("the worker has ended");
      theWorker->mPipe = zv::Pipe();  // if it has not: it ends then, and is waited for when it is replaced
      theWorker = ReplaceWorker(aCommand);
    }
  }
  return 1;
}

int RunSupervisor(const char *aName, const std::string &aCommand) {
  const auto theInstance = zv::SingleInstance::Take(aName);
  if (!theInstance) {
    std::printf("the name %s cannot be had\n", aName);
    return 1;
  }
  auto theListener = zv::Socket::Listening(zv::Address::Loopback(), 5, "supervisor");
  const auto theAddress = theListener ? theListener->OwnAddress() : theListener.error();
  if (!theAddress) return 1;
  std::printf("listening on port %u\n", theAddress->Port());
  return Supervise(*theListener, aCommand);
}

int RunWorker(std::string_view aPipe) {
  int theNumber = -1;
  const auto theEnd = std::from_chars(aPipe.data(), aPipe.data() + aPipe.size(), theNumber);
  if (theEnd.ec != std::errc() || theEnd.ptr != aPipe.data() + aPipe.size()) return 1;
  zv::Pipe thePipe(theNumber);
  if (!thePipe.Write("", 1)) return 1;
  const std::string theText = "process " + std::to_string(zvThread_GetPID()) + " at your service\n";
  while (auto theClient = thePipe.RecvFD<zv::Socket>("worker")) {
    if (!theClient->Send(theText)) std::puts("a client has gone");
  }
  return 0;
}

}  // namespace

int main(int aCount, char **someArguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (aCount == 3 && someArguments[1] == std::string_view("--worker")) return RunWorker(someArguments[2]);
  if (aCount < 2 || aCount > 3 || someArguments[1][0] == '-') {
    std::fputs("usage: supervisor NAME [COMMAND]\n", stderr);
    return 2;
  }
  const zv::Text theProgram(zvPath_GetApplicationFullPath());
  return RunSupervisor(someArguments[1], aCount > 2
                                             ? std::string(someArguments[2])
                                             : std::string("exec '") + theProgram.c_str() + "' --worker");
}
