// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_magicnumber Checked handles
/// Checked handles: the first field of a handle's record, `_mMagicNumber`, holds the magic of its type while
/// the handle is alive and 0 afterwards, so that a wrong or stale handle is reported.
/// @{
#ifndef zvOS_zvMagicNumber_h
#define zvOS_zvMagicNumber_h

#include <zvOS/zvAssert.h>
#include <zvOS/zvTypes.h>

///@{
/// Magic numbers of handles. They are macros, because the assertion's text shows the number.
#define kzvCondition_Magic       0xFEEDFACE
#define kzvThread_Magic          0xFEEDCABE
#define kzvCriticalSection_Magic 0xFEEDFEED
#define kzvMutex_Magic           0xFEEDBABE
#define kzvSemaphore_Magic       0xFEEDFADE
///@}

/// Asserts that the handle is not NULL and of the given type. The operation goes on either way.
#define ZVMAGICNUMBER_CHECK(handle, magic) \
  zvAssert(((handle) != NULL) && ((handle)->_mMagicNumber == (magic)))

/// @}

#endif
