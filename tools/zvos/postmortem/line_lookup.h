// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Lines of the source for addresses of a file, as the tools of elfutils or binutils tell them.
#pragma once

#include <zvOS/zvTypes.h>

#include <map>
#include <string>
#include <vector>

namespace tool {

struct SourceLine {
  std::string mFunction;  // empty when it is not known
  std::string mFile;      // likewise
  std::string mLine;
};

// The innermost function first, which may have been inlined into the next.
using SourceLines = std::vector<SourceLine>;

// None is a program that would have to be installed: aMissing says so then.
std::map<uint64, SourceLines> LookUpLines(const std::string &aFile, const std::vector<uint64> &someAddresses,
                                          std::string &aMissing);

}  // namespace tool
