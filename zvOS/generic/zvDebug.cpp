// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which build of a library the process runs.

#include <zvOS/zvDebug.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvPath.h>

#include "private/Owner.h"

extern "C" void zvDebug_LogLibraryInfo(void *aFunction) {
  const zvos::Owner<char> thePath(
      zvPath_GetFunctionSharedLibraryPath(reinterpret_cast<zvDefaultFunctionPtr>(aFunction)));
  if (!thePath) {
    Log_Info("Library version: Unknown (Unable to find library path)\n");
    return;
  }
  Log_Info("Library version: r%d (%s)\n", zvPath_GetBinaryRevision(thePath.get(), nullptr), thePath.get());
}

extern "C" void zvDebug_SetThreadName(const char *) {}

extern "C" void zvDebug_Break(const char *) {}
