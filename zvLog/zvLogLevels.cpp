// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The global level and the levels of modules.
//
// Callers compare with `_zvLog_Level` before they ask here, so it has to be the highest of all levels.
// And anybody may write it: a value other than the one that this file last wrote is taken as the level
// of everything.
//
// All levels exist twice. Those who log read one half, and a change is made in the other one; then a new
// version says that the halves have changed places. So a change of many levels takes force in one moment,
// and a signal handler that interrupts it finds what holds. A reader that a change overtakes sees another
// version behind its reading than before it, and reads again.
//
// Levels are kept as gates, the first level that is not admitted.

#include "private/Levels.h"

#include "private/ForkSafeLock.h"
#include "private/ModuleNames.h"
#include "private/Names.h"

#include <zvLog/zvLogSettings.h>

#include <algorithm>
#include <atomic>

namespace {

constexpr zvLogLevel kDefaultGate = kzvLogLevel_Warning + 1;
constexpr zvLogLevel kFollowsGlobal = 0;  // no gate of a module: it would refuse even level 0
constexpr size_t kModuleCount = size_t{UINT16_MAX} + 1;
constexpr size_t kBlockSize = 64;
constexpr size_t kBlockCount = kModuleCount / kBlockSize;
constexpr size_t kBlocksPerWord = 32;

// Two numbers of 16 bits that are read at once.
constexpr uint32 PairOf(uint32 aFirst, uint32 aSecond) {
  return aFirst | aSecond << 16;
}

constexpr zvLogLevel PartOf(uint32 aPair, uint32 anIndex) {
  return static_cast<zvLogLevel>(aPair >> (16 * anIndex));
}

constexpr uint32 kSecondHalf = 1;      // which half of the gates of modules holds
constexpr uint32 kModulesIgnored = 2;  // the global gate holds for all

struct Levels {
  zvLogLevel mGlobalGate;
  uint32 mFlags;
  // What `_zvLog_Level` may be without having been written by others: a change of it takes two steps.
  zvLogLevel mPublished[2];

  uint32 Half() const { return mFlags & kSecondHalf; }
};

struct SharedLevels {
  std::atomic<uint32> mGateAndFlags;
  std::atomic<uint32> mPublished;

  Levels Load() const {
    const uint32 theGateAndFlags = mGateAndFlags.load(std::memory_order_acquire);
    const uint32 thePublished = mPublished.load(std::memory_order_acquire);
    return {PartOf(theGateAndFlags, 0),
            PartOf(theGateAndFlags, 1),
            {PartOf(thePublished, 0), PartOf(thePublished, 1)}};
  }

  void Store(const Levels &aLevels) {
    mGateAndFlags.store(PairOf(aLevels.mGlobalGate, aLevels.mFlags), std::memory_order_release);
    mPublished.store(PairOf(aLevels.mPublished[0], aLevels.mPublished[1]), std::memory_order_release);
  }
};

std::atomic<uint32> sVersion{0};
SharedLevels sLevels[2] = {{{PairOf(kDefaultGate, 0)}, {PairOf(kDefaultGate, kDefaultGate)}},
                           {{PairOf(kDefaultGate, 0)}, {PairOf(kDefaultGate, kDefaultGate)}}};
std::atomic<uint32> sModuleGates[kModuleCount];  // both halves; only the pages in use take memory

// What follows is for changes. A change that never came to its end was left behind by a fork: its blocks
// are still marked as different.
zvlog::ForkSafeLock sChanging;
std::atomic<uint32>
    sDifferentBlocks[kBlockCount / kBlocksPerWord];  // one bit for each block whose halves are
zvLogLevel sHighestGates[kBlockCount];               // of each block

zvLogLevel LoadCeiling() {
  return __atomic_load_n(&_zvLog_Level, __ATOMIC_ACQUIRE);
}

bool IsWrittenByOthers(zvLogLevel aCeiling, const Levels &aLevels) {
  return aCeiling != aLevels.mPublished[0] && aCeiling != aLevels.mPublished[1];
}

struct Gates {
  zvLogLevel mGlobal;
  zvLogLevel mModule;
};

Gates GatesOf(zvLogModule aModule) {
  for (;;) {
    const uint32 theVersion = sVersion.load(std::memory_order_acquire);
    const Levels theLevels = sLevels[theVersion % 2].Load();
    const zvLogLevel theCeiling = LoadCeiling();
    const uint32 theBoth = sModuleGates[aModule].load(std::memory_order_acquire);
    if (sVersion.load(std::memory_order_relaxed) != theVersion) continue;

    if (IsWrittenByOthers(theCeiling, theLevels)) return {theCeiling, theCeiling};
    const zvLogLevel theOwn = PartOf(theBoth, theLevels.Half());
    const bool afFollowsGlobal = theOwn == kFollowsGlobal || (theLevels.mFlags & kModulesIgnored) != 0;
    return {theLevels.mGlobalGate, afFollowsGlobal ? theLevels.mGlobalGate : theOwn};
  }
}

zvLogLevel GateAdmitting(zvLogLevel aLevel) {
  return static_cast<zvLogLevel>(std::min<int>(aLevel, UINT16_MAX - 1) + 1);
}

zvLogLevel HighestAdmittedBy(zvLogLevel aGate) {
  return static_cast<zvLogLevel>(aGate > 0 ? aGate - 1 : 0);
}

Levels LevelsInForce() {
  return sLevels[sVersion.load(std::memory_order_relaxed) % 2].Load();
}

void PutInForce(const Levels &aLevels) {
  const uint32 theNext = sVersion.load(std::memory_order_relaxed) + 1;
  sLevels[theNext % 2].Store(aLevels);
  sVersion.store(theNext, std::memory_order_release);
}

void StoreGate(size_t aModule, uint32 aHalf, zvLogLevel aGate) {
  const uint32 theBoth = sModuleGates[aModule].load(std::memory_order_relaxed);
  const zvLogLevel theOther = PartOf(theBoth, 1 - aHalf);
  sModuleGates[aModule].store(aHalf == 0 ? PairOf(aGate, theOther) : PairOf(theOther, aGate),
                              std::memory_order_release);
}

zvLogLevel HighestGateOfBlock(size_t aBlock, uint32 aHalf) {
  zvLogLevel theHighest = kFollowsGlobal;
  for (size_t theModule = aBlock * kBlockSize; theModule < (aBlock + 1) * kBlockSize; ++theModule) {
    const uint32 theBoth = sModuleGates[theModule].load(std::memory_order_relaxed);
    if (theBoth != 0) theHighest = std::max(theHighest, PartOf(theBoth, aHalf));
  }
  return theHighest;
}

void NoteAsDifferent(size_t aModule) {
  const size_t theBlock = aModule / kBlockSize;
  std::atomic<uint32> &theWord = sDifferentBlocks[theBlock / kBlocksPerWord];
  theWord.store(theWord.load(std::memory_order_relaxed) | uint32{1} << theBlock % kBlocksPerWord,
                std::memory_order_relaxed);
}

template <typename Function>
void ForEachDifferentBlock(Function aFunction) {
  for (size_t theWord = 0; theWord < kBlockCount / kBlocksPerWord; ++theWord) {
    uint32 theBits = sDifferentBlocks[theWord].load(std::memory_order_relaxed);
    for (; theBits != 0; theBits &= theBits - 1)
      aFunction(theWord * kBlocksPerWord + static_cast<size_t>(__builtin_ctz(theBits)));
  }
}

// Makes the other half of the different blocks as aHalf is.
void MakeHalvesEqual(uint32 aHalf) {
  ForEachDifferentBlock([aHalf](size_t aBlock) {
    for (size_t theModule = aBlock * kBlockSize; theModule < (aBlock + 1) * kBlockSize; ++theModule) {
      const uint32 theBoth = sModuleGates[theModule].load(std::memory_order_relaxed);
      if (PartOf(theBoth, 0) == PartOf(theBoth, 1)) continue;
      const zvLogLevel theGate = PartOf(theBoth, aHalf);
      sModuleGates[theModule].store(PairOf(theGate, theGate), std::memory_order_release);
    }
  });
  for (std::atomic<uint32> &theWord : sDifferentBlocks)
    theWord.store(0, std::memory_order_release);
}

void NoteHighestGates(uint32 aHalf) {
  ForEachDifferentBlock(
      [aHalf](size_t aBlock) { sHighestGates[aBlock] = HighestGateOfBlock(aBlock, aHalf); });
}

zvLogLevel HighestNotedGate() {
  zvLogLevel theHighest = kFollowsGlobal;
  for (const zvLogLevel theGate : sHighestGates)
    theHighest = std::max(theHighest, theGate);
  return theHighest;
}

// What somebody else writes at the same moment stays.
void ReplaceCeiling(zvLogLevel aCeiling, zvLogLevel aNew) {
  __atomic_compare_exchange_n(&_zvLog_Level, &aCeiling, aNew, false, __ATOMIC_SEQ_CST, __ATOMIC_RELAXED);
}

}  // namespace

namespace zvlog {

bool IsWanted(zvLogLevel aLevel, zvLogModule aModule) {
  return aLevel < GatesOf(aModule).mModule;
}

LevelChange::LevelChange() {
  sChanging.Acquire();
  const Levels theLevels = LevelsInForce();
  NoteHighestGates(theLevels.Half());
  MakeHalvesEqual(theLevels.Half());
  mCeiling = LoadCeiling();
  mGlobalGate = IsWrittenByOthers(mCeiling, theLevels) ? mCeiling : theLevels.mGlobalGate;
  mHalf = 1 - theLevels.Half();
}

LevelChange::~LevelChange() {
  if (mfChanged) Publish();
  sChanging.Release();
}

// The ceiling is never below a level in force: it is raised before, and lowered afterwards.
void LevelChange::Publish() {
  NoteHighestGates(mHalf);
  const zvLogLevel theHighest = std::max(mGlobalGate, HighestNotedGate());
  Levels theOld = LevelsInForce();
  Levels theNew = {mGlobalGate, mHalf, {theHighest, theHighest}};
  if (theHighest > mCeiling) {
    if (IsWrittenByOthers(mCeiling, theOld)) {
      theOld.mGlobalGate = mCeiling;
      theOld.mFlags |= kModulesIgnored;
    }
    theOld.mPublished[0] = mCeiling;
    theOld.mPublished[1] = theHighest;
    PutInForce(theOld);
    ReplaceCeiling(mCeiling, theHighest);
  } else if (theHighest < mCeiling) {
    theNew.mPublished[1] = mCeiling;
    PutInForce(theNew);
    ReplaceCeiling(mCeiling, theHighest);
    theNew.mPublished[1] = theHighest;
  }
  PutInForce(theNew);
  MakeHalvesEqual(mHalf);
}

void LevelChange::SetGlobal(zvLogLevel aLevel) {
  mGlobalGate = GateAdmitting(aLevel);
  mfChanged = true;
}

void LevelChange::SetModule(zvLogModule aModule, zvLogLevel aLevel) {
  NoteAsDifferent(aModule);
  StoreGate(aModule, mHalf, GateAdmitting(aLevel));
  mfChanged = true;
}

bool LevelChange::SetModuleNamed(const char *aName, zvLogLevel aLevel) {
  zvLogModule theModule = 0;
  if (!ModuleFromText(aName, &theModule)) {
    KeepLevelForName(aName, aLevel);
    return false;
  }
  SetModule(theModule, aLevel);
  return true;
}

void LevelChange::ResetModule(zvLogModule aModule) {
  NoteAsDifferent(aModule);
  StoreGate(aModule, mHalf, kFollowsGlobal);
  mfChanged = true;
}

void LevelChange::ResetAllModules() {
  for (size_t theModule = 0; theModule < kModuleCount; ++theModule) {
    if (PartOf(sModuleGates[theModule].load(std::memory_order_relaxed), mHalf) == kFollowsGlobal) continue;
    ResetModule(static_cast<zvLogModule>(theModule));
  }
  ForgetLevelsForNames();
}

}  // namespace zvlog

zvLogLevel _zvLog_Level = kDefaultGate;

extern "C" void zvLog_SetLevel(zvLogLevel aLevel) {
  zvlog::LevelChange().SetGlobal(aLevel);
}

extern "C" zvLogLevel zvLog_GetLevel(void) {
  return HighestAdmittedBy(GatesOf(zvlog::kModuleDefault).mGlobal);
}

extern "C" void zvLog_SetModuleLevel(zvLogModule aModule, zvLogLevel aLevel) {
  zvlog::LevelChange().SetModule(aModule, aLevel);
}

extern "C" void zvLog_ResetModuleLevel(zvLogModule aModule) {
  zvlog::LevelChange().ResetModule(aModule);
}

extern "C" zvLogLevel zvLog_GetModuleLevel(zvLogModule aModule) {
  return HighestAdmittedBy(GatesOf(aModule).mModule);
}
