// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_global Named pointers
/// Named pointers of the process, kept in its environment, so that code which has its own copy of this
/// library's data finds them as well.
///
/// @odd Set stores under a decorated name (name, dot, process id, #kzvGlobalVariableSuffix), Get reads the
///   plain one. So what Set stored is read under the decorated name, and what Get is to find under a plain
///   name is put there by zvPlatform_setenv.
///
/// @threads any thread may call any function, while no other thread changes the environment: a Set changes it
/// @signals no
/// @fork yes, when no other thread was changing the environment at the fork: a child finds the parent's
///   values, under the parent's number, and they are right for what it inherited
/// @errno says nothing
/// @logs failures, in module DEFAULT (0); one to store in module ZVOS (7), too
/// @since 1.0.0
/// @{
#ifndef zvOS_zvGlobal_h
#define zvOS_zvGlobal_h

#include <zvOS/zvDefines.h>

/// The end of a decorated name.
#define kzvGlobalVariableSuffix ".zvGlobal"

/// Stores a pointer under a name. It is stored as `"%p"` writes it, in the environment variable
/// NAME.PID.zvGlobal, PID being the number of the process. zvGlobal_GetPtr reads it when it is given that
/// whole name:
///
/// ```c
/// zvGlobal_SetPtr("player", thePlayer);
///
/// char theName[64];
/// snprintf(theName, sizeof(theName), "player.%u" kzvGlobalVariableSuffix, (unsigned)zvThread_GetPID());
/// thePlayer = zvGlobal_GetPtr(theName);
/// ```
/// @param aName the name
/// @param aValue the pointer; what it points to stays the caller's
/// @logs when it cannot be stored, an error of module ZVOS (7), as zvPlatform_setenv does, and one of module
///   DEFAULT (0)
ZVOS_API void zvGlobal_SetPtr(const char *aName, void *aValue);

/// The pointer in an environment variable.
/// @param aName the whole name of the variable
/// @return the pointer, to what belongs to who stored it; NULL (logged) when there is none, or a text that is
///   no pointer
/// @logs a warning of module DEFAULT (0) when there is none
ZVOS_API void *zvGlobal_GetPtr(const char *aName);

/// Stores the address of a function, as zvGlobal_SetPtr does.
/// @param aName the name
/// @param aValue the function
/// @logs when it cannot be stored, an error of module ZVOS (7), as zvPlatform_setenv does, and one of module
///   DEFAULT (0)
ZVOS_API void zvGlobal_SetFunctionPtr(const char *aName, zvDefaultFunctionPtr aValue);

/// The address of a function in an environment variable, as by zvGlobal_GetPtr.
/// @param aName the whole name of the variable
/// @return the function, to be cast to its type; NULL (logged) when there is none
/// @logs a warning of module DEFAULT (0) when there is none
ZVOS_API zvDefaultFunctionPtr zvGlobal_GetFunctionPtr(const char *aName);

/// @}

#endif
