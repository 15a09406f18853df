// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Whether a policy keeps out what it was told to keep out.
#pragma once

#include "shared/problem.h"

#include <zvOS/zvSocketPolicy.h>

namespace tool {

// Asks a configured policy about every name of the list that its key "exclude-if" was given; none when all
// are excluded.
MaybeProblem WhyNotExcluded(zvSocketPolicy *aPolicy, const std::string &aList);

}  // namespace tool
