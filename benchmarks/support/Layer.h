// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The least that any library in between does: a function that calls the system and turns the
// result into a status. What it costs is the price of a layer as such, whatever the layer does.
#pragma once

#include <pthread.h>

#include <zvOS/zvDefaultDefines.h>
#include <zvOS/zvTypes.h>

ZVOS_API int Layer_Lock(pthread_mutex_t *aMutex);
ZVOS_API int Layer_Unlock(pthread_mutex_t *aMutex);
ZVOS_API int Layer_Seek(int aDescriptor, int64 anOffset);
ZVOS_API int Layer_Read(int aDescriptor, void *aBuffer, uint32 aCount);
