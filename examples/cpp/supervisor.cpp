// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A supervisor, of which there is one under a name: it takes connections, hands each to a worker process
// through a pipe, and starts another worker when that has died. When the supervisor ends, however that comes
// about, the name is free and the worker ends.
//
//   supervisor NAME [COMMAND]        COMMAND starts a worker: this program with --worker, if not given
//   supervisor --worker PIPE

#include <zvOS/zvOS.hpp>

#include <cstdio>
#include <string>
#include <string_view>

namespace {

struct Worker {
  zv::Process mProcess;
  zv::Pipe mPipe;  // the last: it is closed before the end of the process is waited for
};

// It connects to the pipe that its command line names.
zv::Result<Worker> StartWorker(const std::string &aCommand) {
  const zv::Text theName(zvPipe_GenerateUniqueName("supervisor-"));
  auto theListener = zv::PipeListener::Listen(theName.c_str());
  if (!theListener) return theListener.error();
  // To write to: what the worker prints goes where our own output goes.
  auto theProcess = zv::Process::Open((aCommand + " " + theName.c_str()).c_str(), zvProcessOpenMode_Write);
  if (!theProcess) return theProcess.error();
  auto thePipe = theListener->Accept();
  if (!thePipe) return thePipe.error();
  return Worker{*std::move(theProcess), *std::move(thePipe)};
}

// Empties the socket when it was sent; otherwise it stays open, and is for the next worker.
bool HandOver(Worker &aWorker, zv::Socket &aClient) {
  return aWorker.mPipe.SendFD(std::move(aClient)).has_value();
}

int Supervise(zv::Socket &aListener, const std::string &aCommand) {
  auto theWorker = StartWorker(aCommand);
  while (theWorker) {
    auto theClient = aListener.Accept();
    if (!theClient) continue;
    while (theWorker && !HandOver(*theWorker, *theClient)) {
      std::puts("the worker has ended");
      theWorker = StartWorker(aCommand);
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

int RunWorker(const char *aPipeName) {
  auto thePipe = zv::Pipe::Connect(aPipeName);
  if (!thePipe) return 1;
  const std::string theText = "process " + std::to_string(zvThread_GetPID()) + " at your service\n";
  while (auto theClient = thePipe->RecvFD<zv::Socket>("worker")) {
    if (!theClient->Send(theText)) std::puts("a client has gone");
  }
  return 0;
}

}  // namespace

int main(int aCount, char **someArguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (aCount == 3 && someArguments[1] == std::string_view("--worker")) return RunWorker(someArguments[2]);
  if (aCount < 2) return 2;
  const zv::Text theProgram(zvPath_GetApplicationFullPath());
  return RunSupervisor(someArguments[1], aCount > 2
                                             ? std::string(someArguments[2])
                                             : std::string("exec '") + theProgram.c_str() + "' --worker");
}
