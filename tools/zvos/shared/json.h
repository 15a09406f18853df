// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Values for scripts.
#pragma once

#include <string>
#include <vector>

namespace tool {

// A text in quotes, with escapes. Bytes that are no UTF-8 become U+FFFD, one each.
std::string JsonText(const std::string &aText);

// A text, or null when it is empty.
std::string JsonTextOrNull(const std::string &aText);

// "[ ... ]" of values that are JSON already, one a line; in a line that is indented so far itself.
std::string JsonList(const std::vector<std::string> &someValues, int anIndent = 2);

}  // namespace tool
