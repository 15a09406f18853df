// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

// Present in coverage builds: a child that leaves through _exit() would lose its counts.
extern "C" void __gcov_dump(void) __attribute__((weak));
// Present in builds with the leak checker; such a child must call it itself.
extern "C" int __lsan_do_recoverable_leak_check(void) __attribute__((weak));

namespace zvtest {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPollMilliseconds = 2;

double SecondsSince(Clock::time_point aStart) {
  return std::chrono::duration<double>(Clock::now() - aStart).count();
}

// The reading end of a child's output.
class OutputPipe {
 public:
  OutputPipe() {
    if (pipe2(mDescriptors, O_CLOEXEC) != 0) ADD_FAILURE() << "pipe2: " << strerror(errno);
    fcntl(mDescriptors[0], F_SETFL, O_NONBLOCK);
  }
  ~OutputPipe() {
    close(mDescriptors[0]);
    CloseWriter();
  }
  OutputPipe(const OutputPipe &) = delete;
  OutputPipe &operator=(const OutputPipe &) = delete;

  int Reader() const { return mDescriptors[0]; }

  // In the child.
  void ConnectTo(int aDescriptor) const { dup2(mDescriptors[1], aDescriptor); }

  void CloseWriter() {
    if (mDescriptors[1] >= 0) close(mDescriptors[1]);
    mDescriptors[1] = -1;
  }

  // Takes what is there.
  void Drain(std::string *aText) const {
    char theBuffer[4096];
    ssize_t theCount;
    while ((theCount = read(mDescriptors[0], theBuffer, sizeof(theBuffer))) > 0) {
      aText->append(theBuffer, static_cast<size_t>(theCount));
    }
  }

 private:
  int mDescriptors[2] = {-1, -1};
};

// Collects the output until the child has ended, and ends it when its time is over. What the child
// itself started may outlive it.
ChildResult Collect(pid_t aChild, double aSeconds, Clock::time_point aStart, const OutputPipe &anOutput,
                    const OutputPipe &anError) {
  ChildResult theResult = {};
  theResult.mPid = aChild;
  int theStatus = 0;
  for (;;) {
    const pid_t theEnded = waitpid(aChild, &theStatus, WNOHANG);
    anOutput.Drain(&theResult.mOutput);
    anError.Drain(&theResult.mError);
    if (theEnded == aChild) break;
    if (theEnded < 0 && errno != EINTR) {
      ADD_FAILURE() << "waitpid: " << strerror(errno);
      break;
    }
    if (!theResult.mfTimedOut && SecondsSince(aStart) > aSeconds) {
      theResult.mfTimedOut = true;
      kill(-aChild, SIGKILL);
      kill(aChild, SIGKILL);
    }
    pollfd theEvents[] = {{anOutput.Reader(), POLLIN, 0}, {anError.Reader(), POLLIN, 0}};
    poll(theEvents, 2, kPollMilliseconds);
    // Once an output is closed poll() no longer waits.
    if (((theEvents[0].revents | theEvents[1].revents) & POLLIN) == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kPollMilliseconds));
    }
  }
  theResult.mSeconds = SecondsSince(aStart);
  theResult.mfSignaled = WIFSIGNALED(theStatus);
  if (theResult.mfSignaled) theResult.mSignal = WTERMSIG(theStatus);
  if (WIFEXITED(theStatus)) theResult.mStatus = WEXITSTATUS(theStatus);
  return theResult;
}

// Forks; aBody runs in the child, in a process group of its own, and does not outlive its parent.
ChildResult RunForked(const std::function<int()> &aBody, double aSeconds) {
  OutputPipe theOutput;
  OutputPipe theError;
  fflush(nullptr);

  const Clock::time_point theStart = Clock::now();
  const pid_t theChild = fork();
  if (theChild < 0) {
    ADD_FAILURE() << "fork: " << strerror(errno);
    ChildResult theResult = {};
    theResult.mStatus = -1;
    return theResult;
  }
  if (theChild == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    theOutput.ConnectTo(STDOUT_FILENO);
    theError.ConnectTo(STDERR_FILENO);
    const int theStatus = aBody();
    fflush(nullptr);
    if (__gcov_dump != nullptr) __gcov_dump();
    _exit(theStatus);
  }
  theOutput.CloseWriter();
  theError.CloseWriter();
  return Collect(theChild, aSeconds, theStart, theOutput, theError);
}

bool HasLeaks() {
  return __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0;
}

// Expectations that failed in the current test so far.
int Failures() {
  const ::testing::TestInfo *theTest = ::testing::UnitTest::GetInstance()->current_test_info();
  int theCount = 0;
  for (int i = 0; theTest != nullptr && i < theTest->result()->total_part_count(); ++i)
    theCount += theTest->result()->GetTestPartResult(i).failed() ? 1 : 0;
  return theCount;
}

std::vector<char *> Pointers(const std::vector<std::string> &someTexts) {
  std::vector<char *> thePointers;
  for (const std::string &theText : someTexts)
    thePointers.push_back(const_cast<char *>(theText.c_str()));
  thePointers.push_back(nullptr);
  return thePointers;
}

// The command under which programs for another processor run, for example "qemu-arm|-L|/usr/arm".
std::vector<std::string> Emulator() {
  std::vector<std::string> theWords;
  std::istringstream theText(ZVTEST_EMULATOR);
  for (std::string theWord; std::getline(theText, theWord, '|');)
    theWords.push_back(theWord);
  return theWords;
}

// The environment of this process with additions, which replace variables of the same name.
std::vector<std::string> EnvironmentWith(const std::vector<std::string> &someAdditions) {
  std::vector<std::string> theResult = someAdditions;
  for (char **theVariable = environ; *theVariable != nullptr; ++theVariable) {
    const std::string theText = *theVariable;
    const std::string theName = theText.substr(0, theText.find('=') + 1);
    bool theReplaced = false;
    for (const std::string &theAddition : someAdditions) {
      theReplaced = theReplaced || theAddition.compare(0, theName.size(), theName) == 0;
    }
    if (!theReplaced) theResult.push_back(theText);
  }
  return theResult;
}

// The folder of this build: the programs are in its "bin", the libraries in its "lib".
std::string BuildFolder() {
  char thePath[PATH_MAX] = "";
  if (readlink("/proc/self/exe", thePath, sizeof(thePath) - 1) < 0) {
    ADD_FAILURE() << "readlink: " << strerror(errno);
  }
  return std::filesystem::path(thePath).parent_path().parent_path().string();
}

}  // namespace

TempFolder::TempFolder() {
  const char *theParent = getenv("TMPDIR");
  mPath = std::string(theParent != nullptr && *theParent != '\0' ? theParent : "/tmp") + "/zvtest-XXXXXX";
  if (mkdtemp(&mPath[0]) == nullptr) ADD_FAILURE() << "mkdtemp " << mPath << ": " << strerror(errno);
}

TempFolder::~TempFolder() {
  std::error_code theError;
  std::filesystem::remove_all(mPath, theError);
}

std::string ReadWholeFile(const std::string &aPath) {
  std::ifstream theFile(aPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(theFile), std::istreambuf_iterator<char>()};
}

void WriteWholeFile(const std::string &aPath, const std::string &aText) {
  std::ofstream theFile(aPath, std::ios::binary | std::ios::trunc);
  theFile << aText;
  theFile.close();
  if (!theFile) ADD_FAILURE() << "cannot write " << aPath;
}

bool Exists(const std::string &aPath) {
  struct stat theStatus;
  return lstat(aPath.c_str(), &theStatus) == 0;
}

std::string Take(char *aText) {
  const std::string theText = aText != nullptr ? aText : kNoText;
  free(aText);
  return theText;
}

std::string WithoutBlanks(std::string aText) {
  aText.erase(std::remove(aText.begin(), aText.end(), ' '), aText.end());
  return aText;
}

ChildResult RunInChild(const std::function<int()> &aBody, double aSeconds) {
  return RunForked(aBody, aSeconds);
}

ChildResult RunPartInChild(const std::function<void()> &aBody, double aSeconds) {
  return RunInChild(
      [&] {
        // What had failed before the child began is not its own.
        const int theOldFailures = Failures();
        aBody();
        return Failures() > theOldFailures || HasLeaks() ? 1 : 0;
      },
      aSeconds);
}

void ExpectPassed(const ChildResult &aResult) {
  SCOPED_TRACE("in the process of the test:\n" + aResult.mOutput + aResult.mError);
  EXPECT_FALSE(aResult.mfTimedOut) << "killed after " << aResult.mSeconds << " s";
  EXPECT_FALSE(aResult.mfSignaled) << "signal " << aResult.mSignal;
  EXPECT_EQ(0, aResult.mStatus);
}

void InOwnProcess(const std::function<void()> &aBody, double aSeconds) {
  ExpectPassed(RunPartInChild(aBody, aSeconds));
}

ChildResult RunProgram(const std::string &aPath, const std::vector<std::string> &anArguments,
                       const std::vector<std::string> &anEnvironment, double aSeconds) {
  std::vector<std::string> theCommand = Emulator();
  theCommand.push_back(aPath);
  theCommand.insert(theCommand.end(), anArguments.begin(), anArguments.end());
  const std::vector<std::string> theEnvironment = EnvironmentWith(anEnvironment);

  // Nothing is allocated between fork() and exec().
  const std::vector<char *> theArguments = Pointers(theCommand);
  const std::vector<char *> theVariables = Pointers(theEnvironment);
  return RunForked(
      [&] {
        execvpe(theArguments[0], theArguments.data(), theVariables.data());
        dprintf(STDERR_FILENO, "%s: %s\n", theArguments[0], strerror(errno));
        return 127;
      },
      aSeconds);
}

void RemoveCrashFiles(int aProcess) {
  const std::string theProcess = std::to_string(aProcess);
  unlink(("/tmp/backtrace_" + theProcess + ".txt").c_str());
  unlink(("/tmp/zvos_crash_" + theProcess + ".txt").c_str());
  for (int i = 2; i <= 9; ++i)
    unlink(("/tmp/zvos_crash_" + theProcess + "_" + std::to_string(i) + ".txt").c_str());
}

std::string BuiltProgram(const std::string &aName) {
  return BuildFolder() + "/bin/" + aName;
}

std::string BuiltLibrary(const std::string &aName) {
  return BuildFolder() + "/lib/" + aName;
}

bool IsEmulated() {
  return ZVTEST_EMULATOR[0] != '\0';
}

bool BecomeNobody() {
  constexpr unsigned kNobody = 65534;
  return geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0);
}

bool IsOpen(int aDescriptor) {
  return fcntl(aDescriptor, F_GETFD) != -1;
}

std::set<int> OpenDescriptors() {
  std::set<int> theDescriptors;
  for (const auto &theEntry : std::filesystem::directory_iterator("/proc/self/fd"))
    theDescriptors.insert(std::stoi(theEntry.path().filename()));
  // One of them was the listing's own.
  for (auto theNext = theDescriptors.begin(); theNext != theDescriptors.end();)
    theNext = IsOpen(*theNext) ? std::next(theNext) : theDescriptors.erase(theNext);
  return theDescriptors;
}

std::set<int> DescriptorsBesides(const std::set<int> &someFormer) {
  std::set<int> theDescriptors = OpenDescriptors();
  for (const int theFormer : someFormer)
    theDescriptors.erase(theFormer);
  return theDescriptors;
}

bool WaitUntil(const std::function<bool()> &aTest, double aSeconds) {
  const Clock::time_point theStart = Clock::now();
  while (!aTest()) {
    if (SecondsSince(theStart) > aSeconds) return aTest();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace zvtest
