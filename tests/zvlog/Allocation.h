// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Seeing allocations of the calling thread, and making them fail.
#pragma once

namespace zvlogtest {

// Calls aFunction at every allocation of this thread, until the object is gone.
class AllocationWatch {
 public:
  explicit AllocationWatch(void (*aFunction)());
  ~AllocationWatch();
  AllocationWatch(const AllocationWatch &) = delete;
  AllocationWatch &operator=(const AllocationWatch &) = delete;
};

// Whether allocations can be made to fail: a sanitizer's allocator cannot be replaced.
bool CanFailAllocations();

// How many allocations of this thread were not released, less those of others that it released. For
// comparison with an earlier number; it stands still where allocations cannot be made to fail.
long LiveAllocations();

// Makes one allocation of this thread fail, the one after aSkip others.
class FailingAllocation {
 public:
  explicit FailingAllocation(int aSkip);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation &) = delete;
  FailingAllocation &operator=(const FailingAllocation &) = delete;

  bool HasFailed() const;
};

}  // namespace zvlogtest
