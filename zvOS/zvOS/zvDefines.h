// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_frame Frame
/// The frame of every call of the library, in one include: integer names, export, assertions, checked
/// handles, the log call, delays.
///
/// Shared by all modules:
/// - Handles come from a `New` and go to the matching `Delete`; `Delete` of NULL does nothing.
/// - Texts and lists that a function returns are new memory; release them with free().
/// - A failed system call is logged and answered with the module's status code, NULL or 0; nothing throws and
///   nothing aborts.
/// - A bad handle is reported through `_zvAssert` of the log library.
/// - A text that is given to a function stays the caller's, and is copied where it is needed longer.
/// - What a comment says of threads, signal handlers, fork, `errno`, log and version in front of a family
///   holds for all its functions, but for those that say otherwise.
/// - In a signal handler means: in any handler, whatever it interrupted. After fork means: in the child of a
///   process with several threads, before it executes another program.
/// @{
#ifndef zvOS_zvDefines_h
#define zvOS_zvDefines_h

#include <stdlib.h>

#include <zvOS/zvAssert.h>
#include <zvOS/zvDefaultDefines.h>
#include <zvOS/zvLogDefines.h>
#include <zvOS/zvMagicNumber.h>
#include <zvOS/zvTypes.h>

/// The longest delay, in milliseconds: about 49.7 days. Waits do not treat it specially.
#define kzvOS_DelayInfinite ((uint32)-1)

/// Releases what the pointer variable points to, if anything, and sets it to NULL.
#define zvSafeFree(pointer)  \
  do {                       \
    if ((pointer) != NULL) { \
      free(pointer);         \
      (pointer) = NULL;      \
    }                        \
  } while (0)

/// @}

#endif
