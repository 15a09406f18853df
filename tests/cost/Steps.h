// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Looking at a call of the library instruction by instruction, with the trap flag of the processor.
#pragma once

namespace costtest {

struct Steps {
  long mAll;
  long mInOurLibraries;  // what the C library does depends on its version and on the processor
  long mAllocations;     // calls of malloc and its like, by whomever
};

// What there was to see in a call of the function.
Steps StepThrough(void (*aFunction)(void *), void *anArgument);

}  // namespace costtest
