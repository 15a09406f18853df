// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a message costs that nobody wants, in a library that is compiled as ours are.
#pragma once

#include <zvOS/zvDefaultDefines.h>
#include <zvOS/zvTypes.h>

// Both return what they are given.
ZVOS_API uint32 CostOf_SilentMessage(uint32 aNumber);
ZVOS_API uint32 CostOf_NoMessage(uint32 aNumber);
