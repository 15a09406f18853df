// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Named pointers of the process, kept in its environment, so that code which has its own copy of this
// library's data finds them as well.
//
// Deliberately odd: Set stores under a decorated name (name, dot, process id, kzvGlobalVariableSuffix),
// Get reads the plain one. Sets must not run while another thread uses the environment. Messages go to
// module DEFAULT (0).
#ifndef zvOS_zvGlobal_h
#define zvOS_zvGlobal_h

#include <zvOS/zvDefines.h>

#define kzvGlobalVariableSuffix ".zvGlobal"

// Stores a pointer; a failure is only logged.
ZVOS_API void zvGlobal_SetPtr(const char *aName, void *aValue);

// The pointer in the environment variable of that name, or NULL (logged as a warning).
ZVOS_API void *zvGlobal_GetPtr(const char *aName);

// The same for functions.
ZVOS_API void zvGlobal_SetFunctionPtr(const char *aName, zvDefaultFunctionPtr aValue);
ZVOS_API zvDefaultFunctionPtr zvGlobal_GetFunctionPtr(const char *aName);

#endif
