// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a person sees: text on standard output, steps with their outcome, one-line complaints.
//
// Colours and progress appear only when standard output is a terminal. Not for use by several
// threads at a time.
#pragma once

#include "shared/problem.h"

#include <zvOS/zvDefines.h>

#include <cstdarg>

namespace tool {

// Puts something that fails behind standard streams that the caller closed, so that no file opened
// later is taken for one of them.
void PrepareStandardStreams();

// Writes to standard output; a failure is kept for FinishOutput.
void Print(const char *aFormat, ...) ZV_PRINTF_FORMAT(1, 2);

// Writes out what is buffered.
void FlushOutput();

// To be called once at the end. Returns aStatus, or 1 with a complaint when a status of 0 would hide
// that standard output was not written.
int FinishOutput(int aStatus);

// Writes one line to standard error, "zvos: " before it.
void Complain(const char *aFormat, ...) ZV_PRINTF_FORMAT(1, 2);

// Complains about the problem of a command; returns the exit status that goes with it.
int ComplainOf(const Command &aCommand, const Problem &aProblem);

// Writes bytes of any kind to standard output, at once. Complains and returns false when that fails.
bool WriteOutput(const char *aData, size_t aLength);

// One step of a longer task: announced on a terminal when it begins, one line when it ends.
class Step {
 public:
  explicit Step(const char *aName);
  Step(const Step &) = delete;
  Step &operator=(const Step &) = delete;

  // Shows how far a long step is; terminals only, and not more often than the eye can follow.
  void Progress(uint64 aDone, uint64 aTotal);

  // The outcome, with the facts that support it; exactly one of them ends a step. Each returns
  // whether the step counts as good.
  bool Passed(const char *aFormat, ...) ZV_PRINTF_FORMAT(2, 3);
  bool Failed(const char *aFormat, ...) ZV_PRINTF_FORMAT(2, 3);
  bool Failed(const Problem &aProblem) { return Failed("%s", aProblem.mText.c_str()); }
  bool NotPossible(const char *aFormat, ...) ZV_PRINTF_FORMAT(2, 3);

  // Takes the announcement back, for a step whose failure is told as a complaint.
  void Withdraw();

 private:
  void ShowOutcome(const char *aColour, const char *aWord, const char *aFormat, va_list anArguments);

  const char *mName;
  int64 mLastShown;  // milliseconds
};

}  // namespace tool
