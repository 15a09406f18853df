// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Calls that the log library makes to the C library, seen and answered by a test.
//
// The test program defines these functions itself, so that they take precedence. A hook is in force
// while its object lives, for all threads; it may make the real call.
#pragma once

#include <sys/types.h>
#include <functional>

namespace zvlogtest {

// Each call has a signature of its own, which tells its hook from the others.
template <typename Call>
class Hook {
 public:
  using Function = std::function<Call>;
  explicit Hook(Function aFunction);
  ~Hook();
  Hook(const Hook &) = delete;
  Hook &operator=(const Hook &) = delete;
};

// Sees each write of a record, by whichever call.
using WriteHook = Hook<ssize_t(int aDescriptor, const void *aData, size_t aSize)>;
ssize_t RealWrite(int aDescriptor, const void *aData, size_t aSize);

// In place of getrandom and madvise.
using RandomHook = Hook<ssize_t(void *aBuffer, size_t aSize)>;
using MadviseHook = Hook<int(void *anAddress, size_t aSize, int anAdvice)>;

// Before the calls of dup3 and open, which are then made.
using Dup3Hook = Hook<void()>;
using OpenHook = Hook<void(const char *aPath)>;

}  // namespace zvlogtest
