// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the tests of all checked handles have in common.
#pragma once

#include "support/Faults.h"
#include "support/RecordingLog.h"

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zvtest {

// The text of the check of a handle: MagicCheck("aMutex", "0xFEEDBABE").
inline std::string MagicCheck(const std::string &aHandle, const std::string &aMagic) {
  return "((" + aHandle + ") != NULL) && ((" + aHandle + ")->_mMagicNumber == (" + aMagic + "))";
}

// The module under which all of them log.
constexpr zvLogModule kModuleOfHandles = 7;

// Matches the message of a failed call of the system: Failed("zvOSMutex", "pthread_mutex_lock", EINVAL).
inline ::testing::Matcher<const Message &> Failed(const std::string &aType, const std::string &aCall,
                                                  int anError) {
  return Error(kModuleOfHandles,
               Format("%s: %s failed (error = %d)\n", aType.c_str(), aCall.c_str(), anError));
}

// Exactly one assertion was reported, with this text and from that source file.
inline void ExpectOneAssertion(const RecordingLog &aLog, const std::string &anExpression,
                               const std::string &aFile) {
  const std::vector<Assertion> theAssertions = aLog.Assertions();
  ASSERT_THAT(theAssertions, ::testing::ElementsAre(Asserted(anExpression)));
  EXPECT_THAT(theAssertions[0].mFile, ::testing::EndsWith("/" + aFile));
  EXPECT_GT(theAssertions[0].mLine, 1u);
  EXPECT_LT(theAssertions[0].mLine, 1000u);
}

// Looks at records at the moment when the library releases them.
class ReleaseWatch {
 public:
  ReleaseWatch() : mFree("free", 0, 0, -1) {
    mFree.PassingThrough().Doing([this](const long long *anArguments) {
      const auto theRecord = mRecords.find(ArgumentAs<void>(anArguments[0]));
      if (theRecord == mRecords.end()) return;
      ++theRecord->second.mReleases;
      if (theRecord->second.mLook) theRecord->second.mLook();
    });
  }

  // aLook is called at each release, while the record is still there.
  void Watch(void *aRecord, std::function<void()> aLook = {}) { mRecords[aRecord] = {0, std::move(aLook)}; }

  // How often the record was released.
  int ReleasesOf(void *aRecord) const { return mRecords.at(aRecord).mReleases; }

 private:
  struct Record {
    int mReleases;
    std::function<void()> mLook;
  };
  std::map<void *, Record> mRecords;
  Fault mFree;
};

// The memory that the next constructor gets: full of junk, and watched until it is released.
class JunkMemory {
 public:
  static constexpr size_t kSize = 512;

  // aLook is called when the memory is released.
  explicit JunkMemory(const std::function<void(const void *aMemory)> &aLook = [](const void *) {})
      : mMemory(malloc(kSize)), mMalloc("malloc", 0) {
    memset(mMemory, 0xA5, kSize);
    mMalloc.Returning(AsArgument(mMemory));
    mWatch.Watch(mMemory, [this, aLook] { aLook(mMemory); });
  }
  JunkMemory(const JunkMemory &) = delete;
  JunkMemory &operator=(const JunkMemory &) = delete;

  // The constructor took the memory and gave it back once.
  void ExpectUsedAndReleased() const {
    EXPECT_EQ(1, mMalloc.Hits());
    EXPECT_EQ(1, mWatch.ReleasesOf(mMemory));
  }

 private:
  void *mMemory;
  Fault mMalloc;
  ReleaseWatch mWatch;
};

// Whether an object of the system is in the state of its static initialiser, so that destroying it
// is allowed; for arguments of interposed calls.
template <typename Type>
bool IsInitial(long long anAddress, const Type &anInitialValue) {
  return memcmp(ArgumentAs<void>(anAddress), &anInitialValue, sizeof(Type)) == 0;
}

}  // namespace zvtest
