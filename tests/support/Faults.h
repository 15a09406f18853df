// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Makes a call of the system or of the C library fail, or answer what a test wants, when the
// library under test makes it. The functions listed in FaultedCalls.h can be faulted; those of 64-bit
// file offsets go by their plain names ("open", "lseek", "stat"). Without a fault in force they pass
// straight through. A fault of a function that the library does not import fails the test.
//
//   Fault theFault("pthread_mutex_lock", EINVAL);
//   EXPECT_EQ(1, zvMutex_Lock(theMutex));
//   EXPECT_EQ(1, theFault.Hits());
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zvtest {

// In force from construction to destruction, for calls made by the constructing thread
// (or by any thread, see AnyThread). Faults of one function may be stacked; the newest decides until
// it has failed all its calls, then the one before.
class Fault {
 public:
  // The named function fails with anError: functions that return error numbers (pthread_...)
  // return it; others return their failure value (-1, NULL, ...) and set errno. The first aSkip
  // calls pass through; then aCount calls fail (aCount < 0: all of them).
  explicit Fault(const char *aFunction, int anError, int aSkip = 0, int aCount = 1);
  ~Fault();
  Fault(const Fault &) = delete;
  Fault &operator=(const Fault &) = delete;

  // The faulted calls return this value instead of the usual failure value (errno is set to
  // anError only if that is not 0).
  Fault &Returning(long long aValue);

  // Runs before the faulted call answers; may look at or change the caller's memory through the
  // arguments, which come as pointer-sized integers in order (see ArgumentAs).
  Fault &Doing(std::function<void(const long long *anArguments)> anAction);

  // The call is really made and its result returned; the action of Doing runs after it (for free()
  // and other functions without a result: before it).
  Fault &PassingThrough();

  // Also calls of other threads are faulted. Say it last: it takes effect at once.
  Fault &AnyThread();

  // How many calls were faulted so far.
  int Hits() const;

  struct State;  // known to Faults.cpp only

 private:
  State *mState;
};

// How often the library under test called the named function on this thread since the program began.
int CallsOf(const char *aFunction);

// A pointer among the arguments of a faulted call, and a pointer as such an argument or answer.
template <typename Type>
Type *ArgumentAs(long long anArgument) {
  return reinterpret_cast<Type *>(static_cast<intptr_t>(anArgument));
}
inline long long AsArgument(const void *aPointer) {
  return static_cast<long long>(reinterpret_cast<intptr_t>(aPointer));
}

using Arguments = std::vector<long long>;

// For Fault::Doing: keeps a copy of the arguments of the last call, as many as the function has.
inline std::function<void(const long long *)> CopyInto(Arguments *someArguments, size_t aCount) {
  return [=](const long long *anArguments) { someArguments->assign(anArguments, anArguments + aCount); };
}

// For Fault::Doing: keeps a copy of the arguments of every call.
inline std::function<void(const long long *)> AppendTo(std::vector<Arguments> *someCalls, size_t aCount) {
  return [=](const long long *anArguments) { someCalls->emplace_back(anArguments, anArguments + aCount); };
}

}  // namespace zvtest
