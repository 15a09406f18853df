// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The calls that programs make all the time, and what they are made with.
#pragma once

#include <array>
#include <ostream>
#include <vector>

#include <zvOS/zvCondition.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvFile.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>
#include <zvOS/zvSocketSelect.h>

namespace costtest {

// One of each, connected, opened and free.
struct Stage {
  Stage();
  ~Stage();
  Stage(const Stage &) = delete;
  Stage &operator=(const Stage &) = delete;

  zvOSMutex *const mMutex = zvMutex_New();
  zvOSCriticalSection *const mSection = zvCriticalSection_New();
  zvOSSemaphore *const mSemaphore = zvSemaphore_New(1);
  zvOSCondition *const mCondition = zvCondition_New();
  zvSocketSelect *const mSelect = zvSocketSelect_New();
  int mSender = -1;
  int mReceiver = -1;
  zvFileFD mFile = kzvFileFDInvalid;
  std::array<char, 64> mBytes{};
  bool mfFailed = false;  // of any call

  void Expect(bool afGood) { mfFailed = mfFailed || !afGood; }
};

struct HotPath {
  const char *mName;
  void (*mBefore)(Stage &aStage);  // what the call needs to find, may be none
  void (*mCall)(Stage &aStage);
  void (*mAfter)(Stage &aStage);  // what makes up for it, may be none
};

// For messages of the tests.
inline void PrintTo(const HotPath &aPath, std::ostream *aStream) {
  *aStream << aPath.mName;
}

const std::vector<HotPath> &HotPaths();

}  // namespace costtest
