// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The ways to compute the checksum of checksum.h, which all give the same: with tables anywhere, and faster
// where the processor has instructions for it.
#pragma once

#include <zvOS/zvTypes.h>

#include <cstddef>

namespace tool {

// What ContinueChecksum does.
using ContinueFunction = uint32 (*)(uint32 aChecksum, const void *aData, size_t aLength);

uint32 ContinueWithTables(uint32 aChecksum, const void *aData, size_t aLength);

// The way of this processor's own instructions, NULL when it has none that help.
ContinueFunction WayOfProcessor();

// ---- What the ways share: the arithmetic of polynomials, see checksum.cpp ----

constexpr uint32 kChecksumPolynomial = 0xEDB88320;
constexpr uint32 kOne = 0x80000000;  // x to the power of 0

constexpr uint32 TimesX(uint32 aNumber) {
  return (aNumber & 1) != 0 ? (aNumber >> 1) ^ kChecksumPolynomial : aNumber >> 1;
}

// x to that power.
constexpr uint32 PowerOfX(unsigned anExponent) {
  uint32 thePower = kOne;
  for (; anExponent != 0; --anExponent)
    thePower = TimesX(thePower);
  return thePower;
}

}  // namespace tool
