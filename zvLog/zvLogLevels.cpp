// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The global level and the levels of modules.
//
// Callers compare with `_zvLog_Level` before they ask here, so it has to be the highest of all
// levels. And anybody may write it: a value other than the one last written by this file is taken as
// the new global level.
//
// Levels are kept as gates, the first level that is not admitted.

#include "private/Levels.h"

#include "private/Names.h"

#include <zvLog/zvLogSettings.h>

#include <pthread.h>
#include <algorithm>
#include <atomic>

namespace {

constexpr zvLogLevel kDefaultGate = kzvLogLevel_Warning + 1;
constexpr zvLogLevel kFollowsGlobal = 0;  // no gate of a module: it would refuse even level 0
constexpr size_t kModuleCount = size_t{UINT16_MAX} + 1;

std::atomic<zvLogLevel> sGlobalGate{kDefaultGate};
std::atomic<zvLogLevel> sPublishedGate{kDefaultGate};  // as this file last wrote _zvLog_Level
std::atomic<zvLogLevel> sModuleGates[kModuleCount];    // only the pages in use take memory
pthread_mutex_t sSetters = PTHREAD_MUTEX_INITIALIZER;

zvLogLevel LoadCeiling() {
  return __atomic_load_n(&_zvLog_Level, __ATOMIC_RELAXED);
}

zvLogLevel GlobalGateUnder(zvLogLevel aCeiling) {
  const bool afWrittenByOthers = aCeiling != sPublishedGate.load(std::memory_order_relaxed);
  return afWrittenByOthers ? aCeiling : sGlobalGate.load(std::memory_order_relaxed);
}

zvLogLevel GateOf(zvLogModule aModule, zvLogLevel aCeiling) {
  const zvLogLevel theOwn = sModuleGates[aModule].load(std::memory_order_relaxed);
  return theOwn != kFollowsGlobal ? std::min(theOwn, aCeiling) : GlobalGateUnder(aCeiling);
}

zvLogLevel GateAdmitting(zvLogLevel aLevel) {
  return static_cast<zvLogLevel>(std::min<int>(aLevel, UINT16_MAX - 1) + 1);
}

zvLogLevel HighestAdmittedBy(zvLogLevel aGate) {
  return static_cast<zvLogLevel>(aGate > 0 ? aGate - 1 : 0);
}

}  // namespace

namespace zvlog {

bool IsWanted(zvLogLevel aLevel, zvLogModule aModule) {
  return aLevel < GateOf(aModule, LoadCeiling());
}

LevelChange::LevelChange() {
  pthread_mutex_lock(&sSetters);
  sGlobalGate.store(GlobalGateUnder(LoadCeiling()), std::memory_order_relaxed);
}

LevelChange::~LevelChange() {
  zvLogLevel theHighest = sGlobalGate.load(std::memory_order_relaxed);
  for (const std::atomic<zvLogLevel> &theGate : sModuleGates) {
    theHighest = std::max(theHighest, theGate.load(std::memory_order_relaxed));
  }
  sPublishedGate.store(theHighest, std::memory_order_relaxed);
  __atomic_store_n(&_zvLog_Level, theHighest, __ATOMIC_RELAXED);
  pthread_mutex_unlock(&sSetters);
}

void LevelChange::SetGlobal(zvLogLevel aLevel) {
  sGlobalGate.store(GateAdmitting(aLevel), std::memory_order_relaxed);
}

void LevelChange::SetModule(zvLogModule aModule, zvLogLevel aLevel) {
  sModuleGates[aModule].store(GateAdmitting(aLevel), std::memory_order_relaxed);
}

bool LevelChange::SetModuleNamed(const char *aName, zvLogLevel aLevel) {
  zvLogModule theModule = 0;
  if (!ModuleFromText(aName, &theModule)) return false;
  SetModule(theModule, aLevel);
  return true;
}

void LevelChange::ResetModule(zvLogModule aModule) {
  sModuleGates[aModule].store(kFollowsGlobal, std::memory_order_relaxed);
}

void LevelChange::ResetAllModules() {
  for (std::atomic<zvLogLevel> &theGate : sModuleGates) {
    // What is zero already is left alone: writing would give it memory.
    if (theGate.load(std::memory_order_relaxed) != kFollowsGlobal) {
      theGate.store(kFollowsGlobal, std::memory_order_relaxed);
    }
  }
}

}  // namespace zvlog

zvLogLevel _zvLog_Level = kDefaultGate;

extern "C" void zvLog_SetLevel(zvLogLevel aLevel) {
  zvlog::LevelChange().SetGlobal(aLevel);
}

extern "C" zvLogLevel zvLog_GetLevel(void) {
  return HighestAdmittedBy(GlobalGateUnder(LoadCeiling()));
}

extern "C" void zvLog_SetModuleLevel(zvLogModule aModule, zvLogLevel aLevel) {
  zvlog::LevelChange().SetModule(aModule, aLevel);
}

extern "C" void zvLog_ResetModuleLevel(zvLogModule aModule) {
  zvlog::LevelChange().ResetModule(aModule);
}

extern "C" zvLogLevel zvLog_GetModuleLevel(zvLogModule aModule) {
  return HighestAdmittedBy(GateOf(aModule, LoadCeiling()));
}
