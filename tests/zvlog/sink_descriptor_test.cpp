// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The descriptors of sinks: named pipes, numbers that the program closes, full disks, forks, unloading.

#include "HarmTest.h"

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>

namespace {

using namespace zvlogtest;

TEST_F(Harm, NamedPipeWithoutAReaderIsRefusedAtOnce) {
  ASSERT_EQ(0, mkfifo(Path().c_str(), 0600));
  ExpectSurvival([this] { return zvLog_SetSinkFile(Path().c_str()) == 0 && errno == ENXIO ? 0 : 1; });

  const Ending theEnding = RunProbe({}, {"ZVLOG=none,to=file:" + Path()});
  EXPECT_FALSE(theEnding.mfTimedOut);
  EXPECT_EQ("zvLog: bad setting 'to=file:" + Path() + "': cannot open the file (No such device or address)\n",
            theEnding.mError);
}

TEST_F(Harm, NamedPipeWithAReaderIsWrittenAndItsReaderMayGo) {
  ASSERT_EQ(0, mkfifo(Path().c_str(), 0600));
  ExpectSurvival([this] {
    signal(SIGPIPE, SIG_DFL);
    const int theReader = open(Path().c_str(), O_RDONLY | O_NONBLOCK);
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    LogError("text");
    char theBlock[4096];
    const ssize_t theCount = read(theReader, theBlock, sizeof(theBlock));
    if (theCount <= 0 || Parse(std::string(theBlock, static_cast<size_t>(theCount))).mText != "text")
      return 2;
    close(theReader);
    LogError("lost");
    return 0;
  });
}

void CloseAll() {
  for (int theNumber = 3; theNumber < 1024; ++theNumber)
    close(theNumber);
}

TEST_F(Harm, RecordsNeverLandInAFileThatGotTheNumberOfTheLog) {
  const std::string theOwn = mFolder.File("own");
  ExpectSurvival([this, theOwn] {
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    LogError("one");
    CloseAll();
    const int theFile = open(theOwn.c_str(), O_WRONLY | O_CREAT, 0600);
    for (int theNumber = 3; theNumber < 200; ++theNumber)
      dup2(theFile, theNumber);
    LogError("two");
    LogError("three");
    return 0;
  });
  EXPECT_EQ("", ReadFile(theOwn));
  EXPECT_EQ((Texts{"one", "two", "three"}), TextsOfFile());
}

TEST_F(Harm, ClosedFileIsOpenedAgainAlsoInAnotherFolder) {
  ExpectSurvival([this] {
    if (chdir(mFolder.File("").c_str()) != 0 || zvLog_SetSinkFile("log") == 0) return 1;
    if (chdir("/") != 0) return 1;
    CloseAll();
    LogError("text");
    return access("/log", F_OK) == 0 ? 1 : 0;
  });
  EXPECT_EQ(Texts{"text"}, TextsOfFile());
}

// A thread that has just read the number may write to it at any time.
TEST_F(Harm, NumberOfTheLogIsNeverFreeWhenDescriptorsRunOut) {
  ExpectSurvival([this] {
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    const int theLimit = 80;
    const rlimit theLimits = {theLimit, theLimit};
    if (setrlimit(RLIMIT_NOFILE, &theLimits) != 0) return 2;
    while (open("/dev/null", O_RDONLY) >= 0) {
    }
    zvLog_SetSinkStandardError();
    return open("/dev/null", O_RDONLY) < 0 && errno == EMFILE ? 0 : 3;
  });
}

TEST_F(Harm, ManyThreadsLogOnWhenTheFileIsClosed) {
  constexpr int kThreads = 4;
  constexpr int kCount = 200;
  const Ending theEnding = RunInChild([this] {
    if (zvLog_SetSinkFile(Path().c_str()) == 0) return 1;
    CloseAll();
    std::vector<std::thread> theThreads;
    for (int theIndex = 0; theIndex < kThreads; ++theIndex) {
      theThreads.emplace_back([] {
        for (int theNumber = 0; theNumber < kCount; ++theNumber)
          LogError("text");
      });
    }
    for (std::thread &theThread : theThreads)
      theThread.join();
    return 0;
  });
  EXPECT_EQ("", theEnding.mError);
  EXPECT_EQ(size_t{kThreads * kCount}, TextsOfFile().size());
}

TEST_F(Harm, FullDiskIsToldWhenThereIsRoomAgain) {
  if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "this system has no /dev/full";
  ExpectSurvival([] {
    Pipe thePipe;
    const AsStandardError theError(open("/dev/full", O_WRONLY | O_CLOEXEC));
    LogError("lost");
    LogError("lost");
    dup2(thePipe.Writer(), STDERR_FILENO);
    LogError("back");
    return TextsOf(ParseAll(thePipe.Drain())) == Texts{LossText(2, ENOSPC), "back"} ? 0 : 1;
  });
}

TEST_F(Harm, ChildForkedWhileSinksChangeCanChangeThem) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "AddressSanitizer's allocator, unlike the C library's, may be left locked in a child";
#endif
  if (*ZV_EMULATOR != '\0') {
    GTEST_SKIP()
        << "an emulator may leave a lock of its own locked in a child, which then hears no alarm either";
  }
  std::atomic<bool> afStop{false};
  std::thread theSetter([this, &afStop] {
    while (!afStop) {
      zvLog_SetSinkFile(Path().c_str());
      zvLog_SetSinkStandardError();
    }
  });
  for (int theRound = 0; theRound < 200; ++theRound) {
    const pid_t theChild = fork();
    if (theChild == 0) {
      alarm(30);
      zvLog_SetSinkFile(Path().c_str());
      zvLog_SetSinkStandardError();
      _exit(0);
    }
    int theStatus = 0;
    waitpid(theChild, &theStatus, 0);
    EXPECT_EQ(0, theStatus);
    if (theStatus != 0) break;
  }
  afStop = true;
  theSetter.join();
}

size_t CountDescriptors() {
  size_t theCount = 0;
  for (const auto &theEntry : std::filesystem::directory_iterator("/proc/self/fd")) {
    (void)theEntry;
    ++theCount;
  }
  return theCount;
}

// Another copy of the library, which nobody else uses and which is therefore unloaded.
TEST_F(Harm, UnloadedLibraryLeavesNoDescriptor) {
  ExpectSurvival([this] {
    const std::string theCopy = mFolder.File("libcopy.so");
    std::filesystem::copy_file(ZV_LIBRARY, theCopy);
    const size_t theBefore = CountDescriptors();
    void *theLibrary = dlopen(theCopy.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (theLibrary == nullptr) return 1;
    using SetSink = int (*)(const char *);
    const auto theSetSinkFile = reinterpret_cast<SetSink>(dlsym(theLibrary, "zvLog_SetSinkFile"));
    if (theSetSinkFile(Path().c_str()) == 0 || CountDescriptors() == theBefore) return 2;
    dlclose(theLibrary);
    if (dlopen(theCopy.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr) return 3;
    const pid_t theChild = fork();  // no handler is left behind either
    if (theChild == 0) _exit(0);
    int theStatus = 0;
    waitpid(theChild, &theStatus, 0);
    return CountDescriptors() == theBefore && theStatus == 0 ? 0 : 4;
  });
}

}  // namespace
