// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// CRC-32 (the one of Ethernet and of gzip) of data that is read in any order.
#pragma once

#include <zvOS/zvTypes.h>

#include <cstddef>

namespace tool {

// The checksum of the data that had aChecksum so far, continued; begin with 0.
uint32 ContinueChecksum(uint32 aChecksum, const void *aData, size_t aLength);

// What a piece of data contributes to the checksum of the whole when aDistance bytes follow it. The
// checksum of the whole is the exclusive or of the contributions of all pieces, in any order.
uint32 ContributionOf(uint32 aPieceChecksum, uint64 aDistance);

}  // namespace tool
