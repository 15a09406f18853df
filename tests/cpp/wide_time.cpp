// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A program of a 32-bit system that is compiled with 64-bit time, which the library is not: its waits last as
// long as it says. check_refused.sh compiles it with the mistakes, which hand over times of the program's
// own.

#ifndef MISTAKE
#define MISTAKE 0
#endif

#if MISTAKE == 1  // compile without -D_TIME_BITS=64: the flat header is included before
#include <zvOS/zvSocketSelect.h>
#endif
#include <zvOS/zvOS.hpp>

#include <mutex>

static_assert(sizeof(timeval) > 2 * sizeof(long), "this program is to have 64-bit time");

namespace {

using namespace std::chrono_literals;

template <typename Wait>
bool Lasts(std::chrono::milliseconds aTime, Wait aWait) {
  const int64 theBegin = zv::detail::Now();
  return aWait() && zv::detail::Now() - theBegin >= (aTime.count() - 1) * 1000;
}

}  // namespace

int main() {
  zv::SelectObject theSelect;
  zv::Mutex theMutex;
  zv::Condition theCondition;
  zv::Semaphore theSemaphore;
  if (!theSelect) return 1;
#if MISTAKE == 2  // cannot convert|no matching function: the flat function is given the program's own time
  timeval theTime = {};
  if (zvSocketSelect_Select(theSelect.Handle(), nullptr, nullptr, nullptr, 0, &theTime, nullptr) < 0)
    return 1;
#elif MISTAKE == 3  // cannot convert|no matching function: the bare wait is given the program's own time
  timeval theTime = {};
  if (zvSocketSelect_SelectFD(nullptr, nullptr, nullptr, 0, &theTime) < 0) return 1;
#endif
  if (!Lasts(30ms, [&] { return theSelect.SelectFor(30ms, nullptr).has_value(); })) return 2;
  if (!Lasts(1030ms, [&] { return theSelect.SelectFor(1030ms, nullptr).has_value(); })) return 3;
  if (!Lasts(30ms, [&] { return !theSemaphore.try_acquire_for(30ms); })) return 4;
  const std::lock_guard theGuard(theMutex);
  if (!Lasts(30ms, [&] { return !theCondition.wait_for(theMutex, 30ms, [] { return false; }); })) return 5;
  theSelect.Trigger();
  const auto theReady = theSelect.Select(nullptr);
  return theReady && theReady->mfTriggered ? 0 : 6;
}
