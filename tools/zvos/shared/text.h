// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Texts that come from elsewhere, taken apart and made fit to be shown.
#pragma once

#include <zvOS/zvTypes.h>

#include <string>
#include <vector>

namespace tool {

std::vector<std::string> LinesOf(const std::string &aText);

bool Contains(const std::string &aText, const std::string &aPart);
bool BeginsWith(const std::string &aText, const std::string &aStart);

// "0x1f".
std::string HexadecimalForm(uint64 aNumber);

// "%XX" for a byte.
std::string PercentForm(char aByte);

// Text of others, fit to be shown: control characters become %XX.
std::string Printable(const std::string &aText);

}  // namespace tool
