// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Revision stamps as people read them.
#pragma once

#include <string>

namespace tool {

struct Stamp {
  bool mfFound;
  // "r123 (label)", without the label when the stamp has none; or "no revision stamp", with a reason when
  // there is more to say.
  std::string mText;
};

// Reads the stamp of a readable file; absolute paths only.
Stamp ReadStamp(const std::string &aPath);

}  // namespace tool
