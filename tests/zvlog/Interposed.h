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

// Sees each write of a record, by whichever call.
class WriteHook {
 public:
  using Function = std::function<ssize_t(int aDescriptor, const void *aData, size_t aSize)>;
  explicit WriteHook(Function aFunction);
  ~WriteHook();
  WriteHook(const WriteHook &) = delete;
  WriteHook &operator=(const WriteHook &) = delete;
};
ssize_t RealWrite(int aDescriptor, const void *aData, size_t aSize);

class RandomHook {
 public:
  using Function = std::function<ssize_t(void *aBuffer, size_t aSize)>;
  explicit RandomHook(Function aFunction);
  ~RandomHook();
  RandomHook(const RandomHook &) = delete;
  RandomHook &operator=(const RandomHook &) = delete;
};

// Before the call of dup3, which is then made.
class Dup3Hook {
 public:
  using Function = std::function<void()>;
  explicit Dup3Hook(Function aFunction);
  ~Dup3Hook();
  Dup3Hook(const Dup3Hook &) = delete;
  Dup3Hook &operator=(const Dup3Hook &) = delete;
};

// In place of the call of madvise.
class MadviseHook {
 public:
  using Function = std::function<int(void *anAddress, size_t aSize, int anAdvice)>;
  explicit MadviseHook(Function aFunction);
  ~MadviseHook();
  MadviseHook(const MadviseHook &) = delete;
  MadviseHook &operator=(const MadviseHook &) = delete;
};

// Before the call of open, which is then made.
class OpenHook {
 public:
  using Function = std::function<void(const char *aPath)>;
  explicit OpenHook(Function aFunction);
  ~OpenHook();
  OpenHook(const OpenHook &) = delete;
  OpenHook &operator=(const OpenHook &) = delete;
};

}  // namespace zvlogtest
