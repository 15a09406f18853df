// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "Interposed.h"

#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <utility>

#define ZV_INTERPOSED extern "C" __attribute__((visibility("default")))

namespace zvlogtest {

namespace {

template <typename Function>
class Slot {
 public:
  void Set(Function aFunction) {
    mFunction = std::move(aFunction);
    mfSet = true;
  }
  void Reset() { mfSet = false; }
  bool IsSet() const { return mfSet; }
  const Function &Get() const { return mFunction; }

 private:
  Function mFunction;
  std::atomic<bool> mfSet{false};
};

template <typename AnyHook>
Slot<typename AnyHook::Function> sSlot;

auto &sWrite = sSlot<WriteHook>;
auto &sRandom = sSlot<RandomHook>;
auto &sDup3 = sSlot<Dup3Hook>;
auto &sMadvise = sSlot<MadviseHook>;
auto &sOpen = sSlot<OpenHook>;

}  // namespace

template <typename Call>
Hook<Call>::Hook(Function aFunction) {
  sSlot<Hook>.Set(std::move(aFunction));
}
template <typename Call>
Hook<Call>::~Hook() {
  sSlot<Hook>.Reset();
}
template class Hook<ssize_t(int, const void *, size_t)>;
template class Hook<ssize_t(void *, size_t)>;
template class Hook<int(void *, size_t, int)>;
template class Hook<void()>;
template class Hook<void(const char *)>;

ssize_t RealWrite(int aDescriptor, const void *aData, size_t aSize) {
  return syscall(SYS_write, aDescriptor, aData, aSize);
}

}  // namespace zvlogtest

ZV_INTERPOSED ssize_t write(int aDescriptor, const void *aData, size_t aSize) {
  if (zvlogtest::sWrite.IsSet()) return zvlogtest::sWrite.Get()(aDescriptor, aData, aSize);
  return zvlogtest::RealWrite(aDescriptor, aData, aSize);
}

// The other calls by which a record may leave count as writes.
ZV_INTERPOSED ssize_t send(int aSocket, const void *aData, size_t aSize, int aFlags) {
  if (zvlogtest::sWrite.IsSet()) return zvlogtest::sWrite.Get()(aSocket, aData, aSize);
  return sendto(aSocket, aData, aSize, aFlags, nullptr, 0);
}

ZV_INTERPOSED ssize_t pwritev64v2(int aDescriptor, const iovec *aData, int aCount, off64_t anOffset,
                                  int aFlags) {
  if (zvlogtest::sWrite.IsSet() && aCount == 1) {
    return zvlogtest::sWrite.Get()(aDescriptor, aData->iov_base, aData->iov_len);
  }
  const auto theOffset = static_cast<uint64_t>(anOffset);
  return syscall(SYS_pwritev2, aDescriptor, aData, aCount, static_cast<unsigned long>(theOffset),
                 static_cast<unsigned long>(theOffset >> 32), aFlags);
}

ZV_INTERPOSED ssize_t getrandom(void *aBuffer, size_t aSize, unsigned int aFlags) {
  if (zvlogtest::sRandom.IsSet()) return zvlogtest::sRandom.Get()(aBuffer, aSize);
  return syscall(SYS_getrandom, aBuffer, aSize, aFlags);
}

ZV_INTERPOSED int dup3(int anOld, int aNew, int aFlags) noexcept {
  if (zvlogtest::sDup3.IsSet()) zvlogtest::sDup3.Get()();
  return static_cast<int>(syscall(SYS_dup3, anOld, aNew, aFlags));
}

ZV_INTERPOSED int madvise(void *anAddress, size_t aSize, int anAdvice) noexcept {
  if (zvlogtest::sMadvise.IsSet()) return zvlogtest::sMadvise.Get()(anAddress, aSize, anAdvice);
  return static_cast<int>(syscall(SYS_madvise, anAddress, aSize, anAdvice));
}

// The library opens large files; where they are no others, open64 is the same function under another name.
ZV_INTERPOSED int open64(const char *aPath, int aFlags, ...) {
  if (zvlogtest::sOpen.IsSet()) zvlogtest::sOpen.Get()(aPath);
  va_list theArguments;
  va_start(theArguments, aFlags);
  const mode_t theMode = (aFlags & O_CREAT) != 0 ? va_arg(theArguments, mode_t) : 0;
  va_end(theArguments);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, aPath, aFlags | O_LARGEFILE, theMode));
}
