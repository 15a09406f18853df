// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The names of levels and modules, as they are written in records and settings.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

constexpr zvLogModule kModuleDefault = 0;
constexpr zvLogModule kModuleFile = 42;

// NULL for a number without a name.
const char *NameOfLevel(zvLogLevel aLevel);
const char *NameOfModule(zvLogModule aModule);

// By name, upper or lower case, or by number.
bool LevelFromText(const char *aText, zvLogLevel *aLevel);
bool ModuleFromText(const char *aText, zvLogModule *aModule);

}  // namespace zvlog
