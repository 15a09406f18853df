// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The magic number that the record of a checked handle begins with, and all else that these handles promise
// alike, for each type of handle. What is particular to a type stands in the tests of that type.

#include <zvOS/zvCondition.h>
#include <zvOS/zvCriticalSection.h>
#include <zvOS/zvMutex.h>
#include <zvOS/zvSemaphore.h>

#include "support/HandleChecks.h"

#include <pthread.h>
#include <semaphore.h>

#include <algorithm>
#include <cerrno>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace zvtest;

uint32 MagicOf(const void *aHandle) {
  uint32 theMagic;
  memcpy(&theMagic, aHandle, sizeof(theMagic));
  return theMagic;
}

void SetMagic(void *aHandle, uint32 aMagic) {
  memcpy(aHandle, &aMagic, sizeof(aMagic));
}

// Gives a live handle the wrong magic for a while.
class Disguise {
 public:
  explicit Disguise(void *aHandle) : mHandle(aHandle), mMagic(MagicOf(aHandle)) {
    SetMagic(aHandle, 0x12345678);
  }
  ~Disguise() { SetMagic(mHandle, mMagic); }
  Disguise(const Disguise &) = delete;
  Disguise &operator=(const Disguise &) = delete;

 private:
  void *mHandle;
  uint32 mMagic;
};

// A handle of any type; becomes the one that a function asks for.
struct AnyHandle {
  template <typename Handle>
  operator Handle *() const {
    return static_cast<Handle *>(mPointer);
  }
  void *mPointer;
};

// Conditions wait with the mutex, which the caller holds.
using OperationCall = std::function<int(AnyHandle aHandle, zvOSMutex *aHeldMutex)>;

struct Operation {
  const char *mName;
  int mResult;  // of success
  OperationCall mCall;
};

// A call of the system without which there is no new handle.
struct NewCall {
  const char *mName;
  const char *mNameInMessage;
  int mError;
  int mAttributesTried;  // mutex attributes that the constructor tried to make
  int mAttributesMade;   // and those that it has to destroy
};

constexpr const char *kSilent = nullptr;

struct HandleType {
  const char *mName;
  const char *mArgument;
  const char *mMagicText;
  uint32 mMagic;
  const char *mModuleFile;
  std::function<void *()> mNew;
  std::function<void(AnyHandle aHandle)> mDelete;
  const char *mNoMemoryMessage;  // or kSilent
  std::vector<NewCall> mNewCalls;
  const char *mDestroyCall;
  int mDestroyError;
  std::function<bool(long long anAddress)> mIsInitial;  // of the system's object
  size_t mSize;                                         // of the record
  std::vector<Operation> mOperations;                   // succeed in this order on a new handle

  std::string MagicCheck() const { return zvtest::MagicCheck(mArgument, mMagicText); }
  auto Failed(const char *aCall, int anError) const {
    return zvtest::Failed("zvOS" + std::string(mName), aCall, anError);
  }
};

void PrintTo(const HandleType &aType, std::ostream *aStream) {
  *aStream << aType.mName;
}

// Both locks make a recursive mutex of the system; whatever fails is logged as the making of it.
std::vector<NewCall> RecursiveMutexCalls(int anError) {
  return {
      {"pthread_mutexattr_init", "pthread_mutex_init", anError, 1, 0},
      {"pthread_mutexattr_settype", "pthread_mutex_init", anError, 1, 1},
      {"pthread_mutex_init", "pthread_mutex_init", anError, 1, 1},
  };
}

std::vector<NewCall> SingleCall(const char *aName, int anError) {
  return {{aName, aName, anError, 0, 0}};
}

template <typename SystemObject>
struct Record {
  uint32 mMagic;
  SystemObject mObject;
};

struct MutexRecord {
  Record<pthread_mutex_t> mLock;
  pthread_t mOwner;
  uint32 mLockCount;
};

bool IsInitialMutex(long long anAddress) {
  const pthread_mutex_t theInitial = PTHREAD_MUTEX_INITIALIZER;
  return zvtest::IsInitial(anAddress, theInitial);
}

bool IsInitialCondition(long long anAddress) {
  const pthread_cond_t theInitial = PTHREAD_COND_INITIALIZER;
  return zvtest::IsInitial(anAddress, theInitial);
}

bool IsInitialSemaphore(long long anAddress) {
  const sem_t theInitial = {};
  return zvtest::IsInitial(anAddress, theInitial);
}

// A call that needs no mutex.
template <typename Handle, typename... More>
OperationCall On(int (*aFunction)(Handle *, More...), More... someMore) {
  return [=](AnyHandle aHandle, zvOSMutex *) { return aFunction(aHandle, someMore...); };
}

const std::vector<Operation> kMutexOperations = {
    {"Lock", zvMutex_Status_NoError, On(zvMutex_Lock)},
    {"IsHeld", true, [](AnyHandle aHandle, zvOSMutex *) { return zvMutex_IsHeld(aHandle) != 0; }},
    {"Posix_Get", true, [](AnyHandle aHandle, zvOSMutex *) { return zvMutex_Posix_Get(aHandle) != nullptr; }},
    {"Unlock", zvMutex_Status_NoError, On(zvMutex_Unlock)},
};

const std::vector<Operation> kCriticalSectionOperations = {
    {"Enter", zvCriticalSection_Status_NoError, On(zvCriticalSection_Enter)},
    {"Leave", zvCriticalSection_Status_NoError, On(zvCriticalSection_Leave)},
};

const std::vector<Operation> kConditionOperations = {
    {"Signal", zvCondition_Status_NoError, On(zvCondition_Signal)},
    {"Broadcast", zvCondition_Status_NoError, On(zvCondition_Broadcast)},
    {"Wait", zvCondition_Status_NoError,
     [](AnyHandle aHandle, zvOSMutex *aHeldMutex) { return zvCondition_Wait(aHandle, aHeldMutex); }},
    {"WaitTimeout", zvCondition_Status_NoError,
     [](AnyHandle aHandle, zvOSMutex *aHeldMutex) {
       return zvCondition_WaitTimeout(aHandle, aHeldMutex, 1);
     }},
};

const Operation kPost = {"Post", zvSemaphore_Status_NoError, On(zvSemaphore_Post)};

const std::vector<Operation> kSemaphoreOperations = {
    kPost, {"Wait", zvSemaphore_Status_NoError, On(zvSemaphore_Wait)},
    kPost, {"TryWait", zvSemaphore_Status_NoError, On(zvSemaphore_TryWait)},
    kPost, {"WaitTimeout", zvSemaphore_Status_NoError, On<zvOSSemaphore, uint32>(zvSemaphore_WaitTimeout, 1)},
};

void *NewEmptySemaphore() {
  return zvSemaphore_New(0);
}

const std::vector<HandleType> kHandleTypes = {
    {"Mutex", "aMutex", "0xFEEDBABE", 0xFEEDBABE, "zvMutex.posix.cpp", zvMutex_New, zvMutex_Delete, kSilent,
     RecursiveMutexCalls(ENOSPC), "pthread_mutex_destroy", EBUSY, IsInitialMutex, sizeof(MutexRecord),
     kMutexOperations},

    {"CriticalSection", "aCriticalSection", "0xFEEDFEED", 0xFEEDFEED, "zvCriticalSection.posix.cpp",
     zvCriticalSection_New, zvCriticalSection_Delete,
     "zvOSCriticalSection: Cannot allocate memory for a critical section\n", RecursiveMutexCalls(ENOMEM),
     "pthread_mutex_destroy", EBUSY, IsInitialMutex, sizeof(Record<pthread_mutex_t>),
     kCriticalSectionOperations},

    {"Condition", "aCondition", "0xFEEDFACE", 0xFEEDFACE, "zvCondition.posix.cpp", zvCondition_New,
     zvCondition_Delete, kSilent, SingleCall("pthread_cond_init", EAGAIN), "pthread_cond_destroy", EBUSY,
     IsInitialCondition, sizeof(Record<pthread_cond_t>), kConditionOperations},

    {"Semaphore", "aSemaphore", "0xFEEDFADE", 0xFEEDFADE, "zvSemaphore.posix.cpp", NewEmptySemaphore,
     zvSemaphore_Delete, kSilent, SingleCall("sem_init", ENOSYS), "sem_destroy", EINVAL, IsInitialSemaphore,
     sizeof(Record<sem_t>), kSemaphoreOperations},
};

class HandleTest : public ::testing::TestWithParam<HandleType> {
 protected:
  void *New() const { return GetParam().mNew(); }
  void Delete(void *aHandle) const { GetParam().mDelete({aHandle}); }

  // Reported once since the log was cleared, by the module of the type.
  void ExpectMagicAssertion() const {
    zvtest::ExpectOneAssertion(mLog, GetParam().MagicCheck(), GetParam().mModuleFile);
  }

  zvtest::RecordingLog mLog;
};

INSTANTIATE_TEST_SUITE_P(Each, HandleTest, ::testing::ValuesIn(kHandleTypes),
                         [](const auto &aType) { return std::string(aType.param.mName); });

TEST_P(HandleTest, NewCarriesTheMagic) {
  void *const theHandle = New();
  ASSERT_NE(nullptr, theHandle);
  EXPECT_EQ(GetParam().mMagic, MagicOf(theHandle));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  Delete(theHandle);
}

TEST_P(HandleTest, NewWithoutMemoryReturnsNullAndLogsWhatTheTypePromises) {
  Fault theFault("malloc", ENOMEM);
  EXPECT_EQ(nullptr, New());
  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  if (GetParam().mNoMemoryMessage == kSilent) {
    EXPECT_THAT(mLog.Calls(), IsEmpty());
  } else {
    EXPECT_THAT(mLog.Messages(),
                ElementsAre(zvtest::Error(zvtest::kModuleOfHandles, GetParam().mNoMemoryMessage)));
  }
}

TEST_P(HandleTest, DeleteOfNullDoesNothing) {
  const int theFrees = CallsOf("free");
  Delete(nullptr);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
  EXPECT_EQ(theFrees, CallsOf("free"));
}

TEST_P(HandleTest, DeleteClearsTheMagicFirstThenDestroysThenReleases) {
  void *const theHandle = New();
  uint32 theMagicAtRelease = ~0u;
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theHandle, [&] { theMagicAtRelease = MagicOf(theHandle); });
  uint32 theMagicAtDestroy = ~0u;
  int theReleasesAtDestroy = -1;
  Fault theDestroy(GetParam().mDestroyCall, 0);
  theDestroy.PassingThrough().Doing([&](const long long *) {
    theMagicAtDestroy = MagicOf(theHandle);
    theReleasesAtDestroy = theWatch.ReleasesOf(theHandle);
  });

  Delete(theHandle);

  EXPECT_EQ(1, theDestroy.Hits());
  EXPECT_EQ(0u, theMagicAtDestroy);
  EXPECT_EQ(0, theReleasesAtDestroy);
  EXPECT_EQ(1, theWatch.ReleasesOf(theHandle));
  EXPECT_EQ(0u, theMagicAtRelease);
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_P(HandleTest, DeleteLogsAFailingDestroyAndStillReleases) {
  const HandleType &theType = GetParam();
  void *const theHandle = New();
  zvtest::ReleaseWatch theWatch;
  theWatch.Watch(theHandle);
  Fault theFault(theType.mDestroyCall, theType.mDestroyError);
  mLog.SpoilErrno(EDOM);
  Delete(theHandle);
  EXPECT_THAT(mLog.Messages(), ElementsAre(theType.Failed(theType.mDestroyCall, theType.mDestroyError)));
  EXPECT_EQ(1, theWatch.ReleasesOf(theHandle));
}

// Foreign: deleted already, never a handle, or a handle of any other type.
TEST_P(HandleTest, DeleteOfAForeignRecordAssertsOnceAndGoesOn) {
  std::vector<uint32> theForeignMagics = {0, 0x12345678};
  for (const HandleType &theType : kHandleTypes) {
    if (theType.mMagic != GetParam().mMagic) theForeignMagics.push_back(theType.mMagic);
  }
  for (const uint32 theMagic : theForeignMagics) {
    SCOPED_TRACE(theMagic);
    void *const theHandle = New();
    zvtest::ReleaseWatch theWatch;
    theWatch.Watch(theHandle);
    SetMagic(theHandle, theMagic);
    mLog.Clear();
    Delete(theHandle);
    ExpectMagicAssertion();
    EXPECT_THAT(mLog.Messages(), IsEmpty());
    EXPECT_EQ(1, theWatch.ReleasesOf(theHandle));
  }
}

// Threads that work each on a handle of its own would have to take turns at it.
TEST(HandleRecords, ShareNoLineOfTheCacheWithEachOther) {
  constexpr uintptr_t kCacheLine = 64;
  struct Handle {
    uintptr_t mAddress;
    const HandleType *mType;
  };
  std::vector<Handle> theHandles;
  for (int i = 0; i < 40; ++i) {
    for (const HandleType &theType : kHandleTypes)
      theHandles.push_back({reinterpret_cast<uintptr_t>(theType.mNew()), &theType});
  }
  std::sort(theHandles.begin(), theHandles.end(),
            [](const Handle &aLeft, const Handle &aRight) { return aLeft.mAddress < aRight.mAddress; });
  for (size_t i = 1; i < theHandles.size(); ++i) {
    const Handle &thePrevious = theHandles[i - 1];
    EXPECT_LT((thePrevious.mAddress + thePrevious.mType->mSize - 1) / kCacheLine,
              theHandles[i].mAddress / kCacheLine)
        << thePrevious.mType->mName << " and " << theHandles[i].mType->mName;
  }
  for (const Handle &theHandle : theHandles)
    theHandle.mType->mDelete({reinterpret_cast<void *>(theHandle.mAddress)});
}

class HandleOperationTest : public HandleTest {
 protected:
  HandleOperationTest()
      : mHeldMutex(zvMutex_New()),
        mTime("gettimeofday", 0, 0, -1),
        mWait("pthread_cond_wait", 0),
        mTimedWait("pthread_cond_timedwait", 0) {
    mTime.Returning(0);
    mWait.Returning(0);
    mTimedWait.Returning(0);
    zvMutex_Lock(mHeldMutex);
  }
  ~HandleOperationTest() override {
    zvMutex_Unlock(mHeldMutex);
    zvMutex_Delete(mHeldMutex);
  }

  zvOSMutex *mHeldMutex;

 private:
  // Conditions need not be signaled, at whatever time.
  Fault mTime;
  Fault mWait;
  Fault mTimedWait;
};

INSTANTIATE_TEST_SUITE_P(Each, HandleOperationTest, ::testing::ValuesIn(kHandleTypes),
                         [](const auto &aType) { return std::string(aType.param.mName); });

TEST_P(HandleOperationTest, EveryOperationAssertsOnceOnAForeignRecordAndGoesOn) {
  void *const theHandle = New();
  for (const Operation &theOperation : GetParam().mOperations) {
    SCOPED_TRACE(theOperation.mName);
    const Disguise theDisguise(theHandle);
    mLog.Clear();
    EXPECT_EQ(theOperation.mResult, theOperation.mCall({theHandle}, mHeldMutex));
    ExpectMagicAssertion();
    EXPECT_THAT(mLog.Messages(), IsEmpty());
  }
  Delete(theHandle);
}

TEST_P(HandleOperationTest, EveryOperationAssertsOnNull) {
  for (const Operation &theOperation : GetParam().mOperations) {
    SCOPED_TRACE(theOperation.mName);
    mLog.Clear();
    EXPECT_TRUE(zvtest::LeftAtAssertion([&] { theOperation.mCall({nullptr}, mHeldMutex); }));
    ExpectMagicAssertion();
  }
}

struct FailingNew {
  HandleType mType;
  NewCall mCall;
};

void PrintTo(const FailingNew &aNew, std::ostream *aStream) {
  *aStream << aNew.mType.mName << " without " << aNew.mCall.mName;
}

std::vector<FailingNew> AllFailingNews() {
  std::vector<FailingNew> theNews;
  for (const HandleType &theType : kHandleTypes) {
    for (const NewCall &theCall : theType.mNewCalls)
      theNews.push_back({theType, theCall});
  }
  return theNews;
}

class HandleNewTest : public ::testing::TestWithParam<FailingNew> {
 protected:
  zvtest::RecordingLog mLog;
};

INSTANTIATE_TEST_SUITE_P(EachCall, HandleNewTest, ::testing::ValuesIn(AllFailingNews()),
                         [](const auto &aNew) {
                           return std::string(aNew.param.mType.mName) + "_" + aNew.param.mCall.mName;
                         });

TEST_P(HandleNewTest, FailingHalfWayLogsReleasesAndReturnsNull) {
  const HandleType &theType = GetParam().mType;
  const NewCall &theCall = GetParam().mCall;
  const int theAttributes = CallsOf("pthread_mutexattr_init");
  const int theAttributesDestroyed = CallsOf("pthread_mutexattr_destroy");
  bool theDestroyIsAllowed = true;
  Fault theDestroy(theType.mDestroyCall, 0, 0, -1);
  theDestroy.Returning(0).Doing(
      [&](const long long *anArguments) { theDestroyIsAllowed = theType.mIsInitial(anArguments[0]); });
  uint32 theMagic = ~0u;
  const zvtest::JunkMemory theMemory([&](const void *aMemory) { theMagic = MagicOf(aMemory); });
  Fault theFault(theCall.mName, theCall.mError);
  mLog.SpoilErrno(EDOM);

  EXPECT_EQ(nullptr, theType.mNew());

  EXPECT_EQ(1, theFault.Hits());
  EXPECT_THAT(mLog.Messages(), ElementsAre(theType.Failed(theCall.mNameInMessage, theCall.mError)));
  EXPECT_THAT(mLog.Assertions(), IsEmpty());
  theMemory.ExpectUsedAndReleased();
  EXPECT_EQ(0u, theMagic);
  EXPECT_TRUE(theDestroyIsAllowed);
  EXPECT_EQ(theAttributes + theCall.mAttributesTried, CallsOf("pthread_mutexattr_init"));
  EXPECT_EQ(theAttributesDestroyed + theCall.mAttributesMade, CallsOf("pthread_mutexattr_destroy"));
}

TEST(HandleMagic, IsClearedWhereAFailingConstructorReallyDestroysWhatItMade) {
  const zvtest::RecordingLog theLog;
  for (const bool afCondition : {true, false}) {
    uint32 theMagic = ~0u;
    const zvtest::JunkMemory theMemory([&](const void *aMemory) { theMagic = MagicOf(aMemory); });
    if (afCondition) {
      Fault theFault("pthread_cond_init", ENOMEM);
      EXPECT_EQ(nullptr, zvCondition_New());
    } else {
      EXPECT_EQ(nullptr, zvSemaphore_New(-1));
    }
    theMemory.ExpectUsedAndReleased();
    EXPECT_EQ(0u, theMagic);
  }
}

class ForeignMutex : public ::testing::Test {
 protected:
  ~ForeignMutex() override { zvMutex_Delete(mMutex); }

  zvtest::RecordingLog mLog;
  zvOSMutex *const mMutex = zvMutex_New();
};

TEST_F(ForeignMutex, TagOperationsDoNotCheckTheMagic) {
  const Disguise theDisguise(mMutex);
  zvMutex_Posix_Tag_Held(mMutex, 1);
  EXPECT_EQ(1u, zvMutex_Posix_Tag_Unheld(mMutex));
  EXPECT_THAT(mLog.Calls(), IsEmpty());
}

TEST_F(ForeignMutex, AWaitChecksTheMutexOnlyByAskingForItsLock) {
  zvOSCondition *const theCondition = zvCondition_New();
  zvMutex_Lock(mMutex);
  {
    Fault theWait("pthread_cond_wait", 0);
    theWait.Returning(0);
    const Disguise theDisguise(mMutex);
    EXPECT_EQ(zvCondition_Status_NoError, zvCondition_Wait(theCondition, mMutex));
  }
  zvtest::ExpectOneAssertion(mLog, zvtest::MagicCheck("aMutex", "0xFEEDBABE"), "zvMutex.posix.cpp");
  zvMutex_Unlock(mMutex);
  zvCondition_Delete(theCondition);
}

}  // namespace
