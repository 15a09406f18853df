// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Time passes: waits last, clocks run on, files are found, whatever second comes meanwhile. scripts/test
// --rollover lets it be 2038-01-19T03:14:08Z.

#include <zvOS/zvCondition.h>
#include <zvOS/zvDir.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvPipe.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvTime.h>

#include "support/HandleChecks.h"
#include "support/Support.h"

#include <chrono>
#include <cstdlib>
#include <functional>
#include <set>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kTime{2000};
constexpr uint32 kStep = 50;

// Calls aStep over and over; it tells whether it has waited, which then has lasted long enough and not for
// ever.
void Repeat(const std::function<bool()> &aStep) {
  int theCount = 0;
  for (const auto theEnd = Clock::now() + kTime; Clock::now() < theEnd;) {
    const auto theStart = Clock::now();
    if (!aStep()) continue;
    const auto theTime = Clock::now() - theStart;
    EXPECT_GE(theTime, std::chrono::milliseconds(kStep - 1));
    EXPECT_LT(theTime, std::chrono::seconds(20));
    ++theCount;
  }
  EXPECT_LT(0, theCount);
}

void WaitForConditions(uint32 aDelay) {
  zvOSCondition *const theCondition = zvCondition_New();
  zvOSMutex *const theMutex = zvMutex_New();
  zvMutex_Lock(theMutex);
  // What now and the delay make may be exactly a whole second, which is refused.
  Repeat(
      [&] { return zvCondition_WaitTimeout(theCondition, theMutex, aDelay) == zvCondition_Status_TimeOut; });
  zvMutex_Unlock(theMutex);
  zvMutex_Delete(theMutex);
  zvCondition_Delete(theCondition);
}

void WaitForSemaphores(uint32 aDelay) {
  zvOSSemaphore *const theSemaphore = zvSemaphore_New(0);
  Repeat([&] {
    EXPECT_EQ(zvSemaphore_Status_TimeOut, zvSemaphore_WaitTimeout(theSemaphore, aDelay));
    return true;
  });
  zvSemaphore_Delete(theSemaphore);
}

uint32 Seconds() {
  zvtimeval theTime = {};
  zvTime_GetTimeOfDay(&theTime);
  return static_cast<uint32>(theTime.tv_sec);
}

void MakeFiles() {
  const zvtest::TempFolder theFolder;
  int theNumber = 0;
  Repeat([&] {
    const uint32 theBefore = Seconds();
    const std::string theName = theFolder.File(std::to_string(theNumber++));
    zvtest::WriteWholeFile(theName, "text");
    const std::string theDir = theName + ".dir";
    EXPECT_EQ(0, zvDir_Create(theDir.c_str()));
    EXPECT_EQ(1, zvFile_Exists(theName.c_str()));
    EXPECT_EQ(1, zvDir_Exists(theDir.c_str()));
    zvtimeval theTime = {};
    EXPECT_EQ(0, zvFile_GetTimes(theName.c_str(), nullptr, &theTime, nullptr));
    // The system stamps files with the time of its last tick.
    const auto theAge = static_cast<int32>(static_cast<uint32>(theTime.tv_sec) - theBefore);
    EXPECT_LE(-1, theAge);
    EXPECT_GE(5, theAge);
    EXPECT_EQ(0, zvDir_GetTimes(theDir.c_str(), nullptr, &theTime, nullptr));
    std::this_thread::sleep_for(std::chrono::milliseconds(kStep));
    return true;
  });
}

void NamePipes() {
  std::set<std::string> theNames;
  size_t theCount = 0;
  const auto theStart = Clock::now();
  const uint32 theFirst = Seconds();
  Repeat([&] {
    char *const theName = zvPipe_GenerateUniqueName("any-second-");
    theNames.insert(theName);
    ++theCount;
    free(theName);
    std::this_thread::sleep_for(std::chrono::milliseconds(kStep));
    return true;
  });
  EXPECT_EQ(theCount, theNames.size());
  const auto thePassed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - theStart).count();
  EXPECT_LE(thePassed, Seconds() - theFirst);
  EXPECT_GE(thePassed + 1, Seconds() - theFirst);
}

TEST(PastAnySecond, EverythingGoesOn) {
  std::vector<std::thread> theThreads;
  for (const std::function<void()> &theWork :
       {std::function<void()>([] { WaitForConditions(kStep); }),
        std::function<void()>([] { WaitForConditions(1900); }),
        std::function<void()>([] { WaitForSemaphores(kStep); }),
        std::function<void()>([] { WaitForSemaphores(1900); }), std::function<void()>(MakeFiles),
        std::function<void()>(NamePipes)}) {
    theThreads.emplace_back(theWork);
  }
  for (std::thread &theThread : theThreads)
    theThread.join();
}

}  // namespace
