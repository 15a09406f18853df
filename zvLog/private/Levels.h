// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which messages are wanted, and changing that.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

// Takes no lock.
bool IsWanted(zvLogLevel aLevel, zvLogModule aModule);

// One change of any number of levels, which takes force at the end of the object's life. One thread at a
// time makes a change, others wait; not for signal handlers, and a thread makes no second one meanwhile.
class LevelChange {
 public:
  LevelChange();
  ~LevelChange();
  LevelChange(const LevelChange &) = delete;
  LevelChange &operator=(const LevelChange &) = delete;

  void SetGlobal(zvLogLevel aLevel);
  void SetModule(zvLogModule aModule, zvLogLevel aLevel);
  // By name or number, as in settings. False when no module has that name.
  [[nodiscard]] bool SetModuleNamed(const char *aName, zvLogLevel aLevel);
  void ResetModule(zvLogModule aModule);  // it follows the global level again
  void ResetAllModules();
};

}  // namespace zvlog
