// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "Allocation.h"

#include <cerrno>
#include <cstdlib>

namespace {

constexpr int kNever = -1;

thread_local void (*tWatch)() = nullptr;
thread_local int tAllocationsUntilFailure = kNever;
thread_local bool tfFailed = false;
thread_local long tLiveAllocations = 0;

void Notice() {
  if (tWatch != nullptr) tWatch();
}

}  // namespace

#ifdef ZV_SANITIZED

// Of the sanitizer's run-time library; its header is not installed everywhere.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*aMallocHook)(const volatile void *, size_t),
                                                         void (*aFreeHook)(const volatile void *));

namespace {

__attribute__((constructor)) void InstallHooks() {
  __sanitizer_install_malloc_and_free_hooks([](const volatile void *, size_t) { Notice(); },
                                            [](const volatile void *) {});
}

}  // namespace

#else

#define ZV_INTERPOSED extern "C" __attribute__((visibility("default")))

extern "C" void *__libc_malloc(size_t aSize);
extern "C" void *__libc_calloc(size_t aCount, size_t aSize);
extern "C" void *__libc_realloc(void *aPointer, size_t aSize);
extern "C" void __libc_free(void *aPointer);

namespace {

bool MustFail() {
  Notice();
  if (tAllocationsUntilFailure == kNever || tAllocationsUntilFailure-- > 0) return false;
  tfFailed = true;
  errno = ENOMEM;
  return true;
}

void *Counted(void *aPointer) {
  if (aPointer != nullptr) ++tLiveAllocations;
  return aPointer;
}

}  // namespace

ZV_INTERPOSED void *malloc(size_t aSize) {
  return MustFail() ? nullptr : Counted(__libc_malloc(aSize));
}

ZV_INTERPOSED void *calloc(size_t aCount, size_t aSize) {
  return MustFail() ? nullptr : Counted(__libc_calloc(aCount, aSize));
}

ZV_INTERPOSED void *realloc(void *aPointer, size_t aSize) {
  if (MustFail()) return nullptr;
  void *theResult = __libc_realloc(aPointer, aSize);
  return aPointer == nullptr ? Counted(theResult) : theResult;
}

ZV_INTERPOSED void free(void *aPointer) {
  if (aPointer != nullptr) --tLiveAllocations;
  __libc_free(aPointer);
}

#endif

namespace zvlogtest {

AllocationWatch::AllocationWatch(void (*aFunction)()) {
  tWatch = aFunction;
}
AllocationWatch::~AllocationWatch() {
  tWatch = nullptr;
}

bool CanFailAllocations() {
#ifdef ZV_SANITIZED
  return false;
#else
  return true;
#endif
}

long LiveAllocations() {
  return tLiveAllocations;
}

FailingAllocation::FailingAllocation(int aSkip) {
  tfFailed = false;
  tAllocationsUntilFailure = aSkip;
}
FailingAllocation::~FailingAllocation() {
  tAllocationsUntilFailure = kNever;
}
bool FailingAllocation::HasFailed() const {
  return tfFailed;
}

}  // namespace zvlogtest
