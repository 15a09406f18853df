// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the library costs: figures as they are published, and as they are.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cost/HotPaths.h"
#include "cost/Steps.h"

namespace costtest {

struct Cost {
  std::string mWhat;
  long mFigure;
};

// The figures hold for one compiler and one set of flags.
constexpr char kBuild[] = ZV_BUILD;
std::string PublishedBuild();  // empty where nothing is published
std::optional<long> Published(const std::string &aWhat);
std::vector<Cost> AllPublished();

// Behind one call that nobody counts.
Steps StepsOf(const HotPath &aPath, Stage &aStage);
std::string InstructionsOf(const HotPath &aPath);  // as they are called in the list

// A library as it is installed, without what is needed only to link and to debug. 0 when that cannot be told.
long StrippedSize(const std::string &aLibrary);
std::string SizeOf(const std::string &aLibrary);  // as it is called in the list

// All of them, as the file of published ones has them.
std::string ListOfCosts();

}  // namespace costtest
