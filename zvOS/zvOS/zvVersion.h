// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_version Version
/// The version of the library that a program is compiled with, also for the preprocessor:
///
/// ```c
/// #include <zvOS/zvVersion.h>
/// #if ZVOS_VERSION_NUMBER >= 10200  // 1.2.0 or later
/// #endif
/// ```
///
/// The build takes its version from the three numbers below; nothing else repeats them. What each of them
/// promises to programs is in docs/abi.md. The library that a program runs with may be a later one of the
/// same major version; which build that is, zvDebug_LogLibraryInfo says.
/// @{
#ifndef zvOS_zvVersion_h
#define zvOS_zvVersion_h

///@{
/// A number of the version.
#define ZVOS_VERSION_MAJOR 1
#define ZVOS_VERSION_MINOR 1
#define ZVOS_VERSION_PATCH 0
///@}

/// One number that grows with every release; minor and patch stay below 100.
#define ZVOS_VERSION_NUMBER (ZVOS_VERSION_MAJOR * 10000 + ZVOS_VERSION_MINOR * 100 + ZVOS_VERSION_PATCH)

/// The same as a constant text, "1.1.0".
#define ZVOS_VERSION_STRING ZVOS_VERSION_JOIN_(ZVOS_VERSION_MAJOR, ZVOS_VERSION_MINOR, ZVOS_VERSION_PATCH)

///@{
/// For #ZVOS_VERSION_STRING: the first of the two lets the numbers become digits before the second makes
/// texts of them.
#define ZVOS_VERSION_JOIN_(major, minor, patch)  ZVOS_VERSION_QUOTE_(major, minor, patch)
#define ZVOS_VERSION_QUOTE_(major, minor, patch) #major "." #minor "." #patch
///@}

/// @}

#endif
