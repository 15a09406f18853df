// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the measured values say.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zvbench {

// Of sorted values, interpolated between neighbours.
inline double Quantile(const std::vector<double> &aSorted, double aPart) {
  const double thePlace = aPart * static_cast<double>(aSorted.size() - 1);
  const auto theIndex = static_cast<size_t>(thePlace);
  const size_t theNext = std::min(theIndex + 1, aSorted.size() - 1);
  const double theRest = thePlace - static_cast<double>(theIndex);
  return aSorted[theIndex] + (aSorted[theNext] - aSorted[theIndex]) * theRest;
}

}  // namespace zvbench
