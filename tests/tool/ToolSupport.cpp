// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "ToolSupport.h"

#include "support/Support.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <regex.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

namespace zvtest {
namespace {

using Clock = std::chrono::steady_clock;

sockaddr_in AddressOf(const char *anAddress, uint16_t aPort) {
  sockaddr_in theAddress = {};
  theAddress.sin_family = AF_INET;
  theAddress.sin_port = htons(aPort);
  theAddress.sin_addr.s_addr = inet_addr(anAddress);
  return theAddress;
}

// Nothing in a test waits for ever.
void LimitWaiting(int aSocket) {
  const timeval theLimit = {kPatience, 0};
  setsockopt(aSocket, SOL_SOCKET, SO_RCVTIMEO, &theLimit, sizeof(theLimit));
  setsockopt(aSocket, SOL_SOCKET, SO_SNDTIMEO, &theLimit, sizeof(theLimit));
}

// False at the end.
bool Append(int aPipe, std::string &aText) {
  char theBuffer[4096];
  const ssize_t theCount = read(aPipe, theBuffer, sizeof(theBuffer));
  if (theCount > 0) aText.append(theBuffer, static_cast<size_t>(theCount));
  return theCount > 0 || (theCount < 0 && errno == EINTR);
}

void CloseIfOpen(int &aDescriptor) {
  if (aDescriptor >= 0) close(aDescriptor);
  aDescriptor = -1;
}

}  // namespace

std::vector<std::string> WordsToRun(const std::string &aProgram) {
  std::vector<std::string> theWords;
  std::istringstream theEmulator(ZVTEST_EMULATOR);
  for (std::string theWord; std::getline(theEmulator, theWord, '|');)
    theWords.push_back(theWord);
  theWords.push_back(aProgram);
  return theWords;
}

std::vector<std::string> ZvosWords(const std::vector<std::string> &anArguments) {
  std::vector<std::string> theWords = WordsToRun(BuiltProgram("zvos"));
  theWords.insert(theWords.end(), anArguments.begin(), anArguments.end());
  return theWords;
}

void ResetSignals() {
  for (int theSignal = 1; theSignal < NSIG; ++theSignal)
    signal(theSignal, SIG_DFL);
  sigset_t theNone;
  sigemptyset(&theNone);
  sigprocmask(SIG_SETMASK, &theNone, nullptr);
}

ZvosImage::ZvosImage(const std::vector<std::string> &anArguments) : mWords(ZvosWords(anArguments)) {
  for (std::string &theWord : mWords)
    mPointers.push_back(&theWord[0]);
  mPointers.push_back(nullptr);
}

int ZvosImage::Exec() const {
  execvp(mPointers[0], mPointers.data());
  return 127;
}

int ExecZvos(const std::vector<std::string> &anArguments) {
  return ZvosImage(anArguments).Exec();
}

ChildResult Zvos(const std::vector<std::string> &anArguments, const std::vector<std::string> &anEnvironment) {
  const ChildResult theResult = RunProgram(BuiltProgram("zvos"), anArguments, anEnvironment);
  RemoveTraceFile(theResult.mOutput);
  return theResult;
}

std::string ZvosCommand(const std::string &aProgram) {
  std::string theCommand;
  for (const std::string &theWord : WordsToRun(aProgram))
    theCommand += "'" + theWord + "' ";
  return theCommand;
}

int Shell(const std::string &aCommand) {
  execl("/bin/sh", "sh", "-c", aCommand.c_str(), static_cast<char *>(nullptr));
  return 127;
}

ChildResult RunShell(const std::string &aCommand) {
  const ChildResult theResult = RunInChild([&] { return Shell(aCommand); }, 60);
  RemoveTraceFile(theResult.mOutput);
  return theResult;
}

std::vector<std::string> Search(const std::string &aText, const std::string &aPattern) {
  regex_t theExpression;
  std::vector<std::string> theGroups;
  if (regcomp(&theExpression, aPattern.c_str(), REG_EXTENDED | REG_NEWLINE) != 0) {
    ADD_FAILURE() << "bad pattern " << aPattern;
    return theGroups;
  }
  regmatch_t theMatches[4];
  if (regexec(&theExpression, aText.c_str(), 4, theMatches, 0) == 0) {
    for (size_t i = 0; i <= theExpression.re_nsub && i < 4; ++i) {
      const size_t theStart = static_cast<size_t>(theMatches[i].rm_so);
      theGroups.push_back(aText.substr(theStart, static_cast<size_t>(theMatches[i].rm_eo) - theStart));
    }
  }
  regfree(&theExpression);
  return theGroups;
}

void RemoveTraceFile(const std::string &anOutput) {
  const size_t thePlace = anOutput.find("/tmp/backtrace_");
  if (thePlace == std::string::npos) return;
  RemoveCrashFiles(atoi(anOutput.c_str() + thePlace + sizeof("/tmp/backtrace_") - 1));
}

std::vector<std::string> LineReaders() {
#if defined(__arm__)
  constexpr const char *kPrograms[] = {"eu-addr2line", "arm-linux-gnueabihf-addr2line"};
#else
  constexpr const char *kPrograms[] = {"eu-addr2line", "addr2line"};
#endif
  std::vector<std::string> thePaths;
  for (const char *theProgram : kPrograms) {
    for (const char *theFolder : {"/usr/bin/", "/usr/local/bin/"}) {
      const std::string thePath = std::string(theFolder) + theProgram;
      if (access(thePath.c_str(), X_OK) == 0) thePaths.push_back(thePath);
    }
  }
  return thePaths;
}

void ExpectOutcome(const ChildResult &aResult, int aStatus, const std::string &anOutput,
                   const std::string &anError) {
  EXPECT_FALSE(aResult.mfSignaled);
  EXPECT_EQ(aStatus, aResult.mStatus);
  EXPECT_EQ(anOutput, aResult.mOutput);
  EXPECT_EQ(anError, aResult.mError);
}

void ExpectRefusal(const ChildResult &aResult, const std::string &aLine) {
  ExpectOutcome(aResult, 2, "", aLine);
}

bool IsAlive(pid_t aProcess) {
  return !ReadWholeFile("/proc/" + std::to_string(aProcess) + "/cmdline").empty();
}

std::vector<std::string> NamesIn(const std::string &aFolder) {
  std::vector<std::string> theNames;
  for (const auto &theEntry : std::filesystem::directory_iterator(aFolder))
    theNames.push_back(theEntry.path().filename().string());
  std::sort(theNames.begin(), theNames.end());
  return theNames;
}

std::string SomeBytes(size_t aLength) {
  std::string theText(aLength, '\0');
  uint32_t theState = 4711;
  for (char &theCharacter : theText) {
    theState = theState * 1664525 + 1013904223;
    theCharacter = static_cast<char>(theState >> 24);
  }
  return theText;
}

RunningZvos::RunningZvos(const std::vector<std::string> &anArguments, const std::string &aFolder,
                         const std::function<void()> &aSetup)
    : mPid(-1), mOutputPipe(-1), mErrorPipe(-1) {
  int theOutput[2];
  int theError[2];
  if (pipe2(theOutput, O_CLOEXEC) != 0 || pipe2(theError, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe2: " << strerror(errno);
    return;
  }
  const ZvosImage theProgram(anArguments);
  fflush(nullptr);
  mPid = fork();
  if (mPid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(theOutput[1], STDOUT_FILENO);
    dup2(theError[1], STDERR_FILENO);
    if (chdir(aFolder.c_str()) != 0) _exit(126);
    ResetSignals();
    if (aSetup) aSetup();
    _exit(theProgram.Exec());
  }
  mOutputPipe = theOutput[0];
  mErrorPipe = theError[0];
  close(theOutput[1]);
  close(theError[1]);
  if (mPid < 0) ADD_FAILURE() << "fork: " << strerror(errno);
}

RunningZvos::~RunningZvos() {
  if (mPid > 0) {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
  }
  CloseIfOpen(mOutputPipe);
  CloseIfOpen(mErrorPipe);
}

// False when both pipes are at their end.
bool RunningZvos::Read(int aMilliseconds) {
  if (mOutputPipe < 0 && mErrorPipe < 0) return false;
  pollfd thePolls[] = {{mOutputPipe, POLLIN, 0}, {mErrorPipe, POLLIN, 0}};
  poll(thePolls, 2, aMilliseconds);
  if (thePolls[0].revents != 0 && !Append(mOutputPipe, mOutput)) CloseIfOpen(mOutputPipe);
  if (thePolls[1].revents != 0 && !Append(mErrorPipe, mError)) CloseIfOpen(mErrorPipe);
  return true;
}

bool RunningZvos::WaitForOutput(const std::string &aText) {
  const Clock::time_point theEnd = Clock::now() + std::chrono::seconds(kPatience);
  while (mOutput.find(aText) == std::string::npos) {
    if (Clock::now() < theEnd && Read(100)) continue;
    ADD_FAILURE() << "'" << aText << "' did not come\noutput: " << mOutput << "\nerror: " << mError;
    return false;
  }
  return true;
}

uint16_t RunningZvos::Port() {
  if (!WaitForOutput("\n")) return 0;
  const std::string theLine = mOutput.substr(0, mOutput.find('\n'));
  return static_cast<uint16_t>(atoi(theLine.c_str() + theLine.rfind(':') + 1));
}

void RunningZvos::Kill(int aSignal) const {
  if (mPid > 0) kill(mPid, aSignal);
}

int RunningZvos::Wait() {
  const Clock::time_point theEnd = Clock::now() + std::chrono::seconds(kPatience);
  while (Clock::now() < theEnd && Read(100)) {
  }
  if (Clock::now() >= theEnd) {
    ADD_FAILURE() << "the program did not end";
    Kill(SIGKILL);
  }
  int theStatus = -1;
  waitpid(mPid, &theStatus, 0);
  mPid = -1;
  return theStatus;
}

void RunningZvos::CloseOutput() {
  CloseIfOpen(mOutputPipe);
}

RawClient::RawClient(uint16_t aPort, const char *anAddress)
    : mDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in theAddress = AddressOf(anAddress, aPort);
  LimitWaiting(mDescriptor);
  if (connect(mDescriptor, reinterpret_cast<const sockaddr *>(&theAddress), sizeof(theAddress)) != 0) {
    CloseIfOpen(mDescriptor);
  }
}

RawClient::~RawClient() {
  CloseIfOpen(mDescriptor);
}

void RawClient::Send(const std::string &aText) const {
  for (size_t theSent = 0; theSent < aText.size();) {
    const ssize_t theCount = send(mDescriptor, aText.data() + theSent, aText.size() - theSent, MSG_NOSIGNAL);
    if (theCount <= 0) return;
    theSent += static_cast<size_t>(theCount);
  }
}

std::string RawClient::Line() {
  std::string theLine;
  char theCharacter;
  while (recv(mDescriptor, &theCharacter, 1, 0) == 1) {
    theLine += theCharacter;
    if (theCharacter == '\n') break;
  }
  return theLine;
}

std::string RawClient::Bytes(size_t aLength) {
  std::string theBytes;
  char theBuffer[16384];
  while (theBytes.size() < aLength) {
    const ssize_t theCount =
        recv(mDescriptor, theBuffer, std::min(sizeof(theBuffer), aLength - theBytes.size()), 0);
    if (theCount <= 0) break;
    theBytes.append(theBuffer, static_cast<size_t>(theCount));
  }
  return theBytes;
}

std::string RawClient::Rest() {
  return Bytes(SIZE_MAX);
}

void RawClient::Break() {
  const linger theLinger = {1, 0};
  setsockopt(mDescriptor, SOL_SOCKET, SO_LINGER, &theLinger, sizeof(theLinger));
  CloseIfOpen(mDescriptor);
}

FakeServer::FakeServer(const std::function<void(RawClient &)> &aTalk)
    : mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), mPort(0) {
  sockaddr_in theAddress = AddressOf("127.0.0.1", 0);
  socklen_t theLength = sizeof(theAddress);
  LimitWaiting(mListener);
  if (bind(mListener, reinterpret_cast<sockaddr *>(&theAddress), sizeof(theAddress)) != 0 ||
      listen(mListener, 5) != 0 ||
      getsockname(mListener, reinterpret_cast<sockaddr *>(&theAddress), &theLength) != 0) {
    ADD_FAILURE() << "no listening socket: " << strerror(errno);
  }
  mPort = ntohs(theAddress.sin_port);
  mThread = std::thread([this, aTalk] {
    RawClient theClient(accept(mListener, nullptr, nullptr));
    if (!theClient.IsConnected()) return;
    LimitWaiting(theClient.Descriptor());
    aTalk(theClient);
  });
}

FakeServer::~FakeServer() {
  shutdown(mListener, SHUT_RDWR);
  mThread.join();
  close(mListener);
}

std::string FakeServer::Address() const {
  return "127.0.0.1:" + std::to_string(mPort);
}

}  // namespace zvtest
