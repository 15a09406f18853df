// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lines below a step that show what it found.
#pragma once

#include "shared/terminal.h"
#include "shared/text.h"

namespace tool {

constexpr char kIndent[] = "            ";

inline void PrintIndented(const std::string &aText) {
  for (const std::string &theLine : LinesOf(aText))
    Print("%s| %s\n", kIndent, theLine.c_str());
}

}  // namespace tool
