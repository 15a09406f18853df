// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What a row of the benchmark is: an operation of the library beside the bare calls it stands for.
//
// A row gives two loops, which the measurement runs in turns. Both call through the program's own
// linkage table, as any user's program does, and both count failures, so that a figure never
// stems from calls that did nothing. Add rows to one of the *_rows.cpp files in the folder of the
// module's family, or in a new one named in Rows.h and Rows.cpp.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <zvOS/zvTypes.h>

namespace zvbench {

// Runs an operation as often as told.
using Loop = std::function<void(uint32 aCount)>;

struct Sides {
  Loop mBare;
  Loop mOurs;
  std::vector<std::shared_ptr<const void>> mKeep;  // what the loops use, released after the last round
};

enum class Figure {
  kRatio,            // our time divided by the bare time
  kAddedNanoseconds  // our time less the bare time, per operation
};

struct Target {
  Figure mFigure;
  double mLimit;  // the figure is to be at most this; 0: no target
};

constexpr Target RatioAtMost(double aLimit) {
  return {Figure::kRatio, aLimit};
}
constexpr Target AddsAtMost(double aLimit) {
  return {Figure::kAddedNanoseconds, aLimit};
}
constexpr Target NoTarget() {
  return {Figure::kRatio, 0.0};
}

struct Row {
  const char *mName;
  const char *mBare;  // the calls of each side, for the reader
  const char *mOurs;
  Target mTarget;
  Sides (*mPrepare)();
};

// Ends the program with a message: a benchmark whose calls fail has no result.
[[noreturn]] void Fail(const char *aText);

// Makes the compiler take the value as used, and all memory as changed.
template <typename Value>
inline void KeepAlive(const Value &aValue) {
  __asm__ volatile("" : : "g"(aValue) : "memory");
}

// Makes the compiler forget what it knows of the value.
template <typename Value>
inline Value Opaque(Value aValue) {
  __asm__ volatile("" : "+r"(aValue));
  return aValue;
}

// A loop over an operation that returns 0 on success. Each round begins with a fresh copy of the
// operation, held in registers.
template <typename Operation>
Loop Repeat(Operation anOperation) {
  return [anOperation](uint32 aCount) {
    auto theOperation = anOperation;
    int theFailures = 0;
    for (uint32 theIndex = 0; theIndex < aCount; ++theIndex)
      theFailures |= theOperation();
    if (theFailures != 0) Fail("an operation failed while it was measured");
  };
}

// A loop over two calls with the same object, as of a lock and its release.
template <auto kFirst, auto kSecond, typename Object>
Loop RepeatPair(Object *anObject) {
  return Repeat([anObject] {
    const int theFailures = kFirst(anObject);
    return theFailures | kSecond(anObject);
  });
}

// Two objects of the row's own, each of which does what is measured and says whether it failed.
template <typename Bare, typename Ours>
Sides RoundTrips() {
  auto theBare = std::make_shared<Bare>();
  auto theOurs = std::make_shared<Ours>();
  return {Repeat([theGame = theBare.get()] { return theGame->RoundTrip(); }),
          Repeat([theGame = theOurs.get()] { return theGame->RoundTrip(); }),
          {theBare, theOurs}};
}

}  // namespace zvbench
