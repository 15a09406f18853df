// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Names that programs give to modules, and levels that are set for names before a module has them.
#pragma once

#include <zvLog/zvLog.h>

namespace zvlog {

constexpr size_t kLongestModuleName = 31;

// It is no number, and can be told from what stands around it in settings and records.
bool CanBeModuleName(const char *aText);

// NULL when the program has given none. The text stays.
const char *GivenNameOfModule(zvLogModule aModule);

// Upper or lower case; takes no lock.
bool ModuleOfGivenName(const char *aName, zvLogModule *aModule);

// For changes of levels, which come one after the other. What can be no name is not kept.
void KeepLevelForName(const char *aName, zvLogLevel aLevel);
void ForgetLevelsForNames();

}  // namespace zvlog
