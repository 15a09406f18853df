// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Which interface has an address.
#pragma once

#include <zvOS/zvTypes.h>

#include "private/Owner.h"

namespace zvos {

// The name of the interface that carries the address (network byte order), or no text. Loopback and
// interfaces that are down do not count. Failures are logged.
Owner<char> zvSocket_GetInterfaceFromIP(uint32 anIPInterface);

}  // namespace zvos
