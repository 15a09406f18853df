// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Back-traces beside their making: what has to be there before a crash, and what the crash file tells of
// them.
#pragma once

namespace zvos {

// How many addresses the trace of a thread has at most, and below how many it counts as cut short.
constexpr int kTraceDepth = 64;
constexpr int kShortestSoundTrace = 6;

struct BackTrace {
  void *const *mAddresses;
  int mDepth;
};

// Of zvDebug_BackTraceCurrent, in whatever thread; overwritten by the next one.
BackTrace LatestBackTrace();

// The first back-trace of a process loads the unwinder, which takes the loader's lock and memory: too late in
// a crash, and too dear for the start of every process. Whoever installs handlers of fatal signals calls this
// before. Tries once, and leaves errno alone.
void LoadUnwinder();

}  // namespace zvos
