// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What went wrong, as a value.
#pragma once

#include "shared/command.h"

#include <optional>
#include <string>
#include <utility>

namespace tool {

// A reason for people, and the exit status of the program that goes with it.
struct Problem {
  explicit Problem(std::string aText, int aStatus = kStatus_CheckFailed)
      : mText(std::move(aText)), mStatus(aStatus) {}

  std::string mText;
  int mStatus;
};

// The answer of what can fail: a problem, or none when all went well.
struct [[nodiscard]] MaybeProblem : std::optional<Problem> {
  using std::optional<Problem>::optional;
};

// What the caller of the program has to put right.
inline Problem BadInput(std::string aText) {
  return Problem(std::move(aText), kStatus_BadInput);
}

}  // namespace tool
