// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Light recursive lock without owner bookkeeping.
//
// It locks like zvMutex.h but cannot be asked who holds it and no condition variable waits on it.
#ifndef zvOS_zvCriticalSection_h
#define zvOS_zvCriticalSection_h

#include <zvOS/zvDefines.h>

typedef struct zvCriticalSection_t zvOSCriticalSection;

enum { zvCriticalSection_Status_NoError = 0, zvCriticalSection_Status_Error = 1 };

// Makes a critical section. Returns NULL when there is no memory or when the system refuses
// (both logged). The caller releases it with zvCriticalSection_Delete.
ZVOS_API zvOSCriticalSection *zvCriticalSection_New(void);

// Releases the section; NULL is ignored. No thread may be inside or waiting.
ZVOS_API void zvCriticalSection_Delete(zvOSCriticalSection *aCriticalSection);

// Waits until no other thread is inside, and enters; a thread may enter again while inside.
// Returns zvCriticalSection_Status_NoError, or zvCriticalSection_Status_Error (logged).
ZVOS_API int zvCriticalSection_Enter(zvOSCriticalSection *aCriticalSection);

// Leaves once; call it as often as the section was entered. Returns
// zvCriticalSection_Status_Error (logged) when the calling thread is not inside.
ZVOS_API int zvCriticalSection_Leave(zvOSCriticalSection *aCriticalSection);

#endif
