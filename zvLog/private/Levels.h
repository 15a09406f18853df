// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which messages are wanted, and changing that.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

// Takes no lock.
bool IsWanted(zvLogLevel aLevel, zvLogModule aModule);

// One change of any number of levels, which takes force at once at the end of the object's life: who sees one
// of the new levels sees them all. One that changes none leaves what others wrote as it is. One thread at a
// time makes a change, others wait; not for signal handlers, and a thread makes no second one meanwhile.
class LevelChange {
 public:
  LevelChange();
  ~LevelChange();
  LevelChange(const LevelChange &) = delete;
  LevelChange &operator=(const LevelChange &) = delete;

  void SetGlobal(zvLogLevel aLevel);
  void SetModule(zvLogModule aModule, zvLogLevel aLevel);
  // By name or number, as in settings. False when no module has that name; the level is then kept for the
  // module that gets it.
  bool SetModuleNamed(const char *aName, zvLogLevel aLevel);
  void ResetModule(zvLogModule aModule);  // it follows the global level again
  void ResetAllModules();

 private:
  void Publish();

  zvLogLevel mCeiling;  // _zvLog_Level at the beginning
  zvLogLevel mGlobalGate;
  uint32 mHalf;            // of the gates of modules that is changed
  bool mfChanged = false;  // whether a level was set
};

}  // namespace zvlog
