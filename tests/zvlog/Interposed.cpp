// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "Interposed.h"

#include <sys/random.h>
#include <sys/syscall.h>
#include <fcntl.h>
#include <unistd.h>
#include <atomic>
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

Slot<WriteHook::Function> sWrite;
Slot<RandomHook::Function> sRandom;
Slot<Dup3Hook::Function> sDup3;

}  // namespace

WriteHook::WriteHook(Function aFunction) {
  sWrite.Set(std::move(aFunction));
}
WriteHook::~WriteHook() {
  sWrite.Reset();
}
RandomHook::RandomHook(Function aFunction) {
  sRandom.Set(std::move(aFunction));
}
RandomHook::~RandomHook() {
  sRandom.Reset();
}
Dup3Hook::Dup3Hook(Function aFunction) {
  sDup3.Set(std::move(aFunction));
}
Dup3Hook::~Dup3Hook() {
  sDup3.Reset();
}

ssize_t RealWrite(int aDescriptor, const void *aData, size_t aSize) {
  return syscall(SYS_write, aDescriptor, aData, aSize);
}

}  // namespace zvlogtest

ZV_INTERPOSED ssize_t write(int aDescriptor, const void *aData, size_t aSize) {
  if (zvlogtest::sWrite.IsSet()) return zvlogtest::sWrite.Get()(aDescriptor, aData, aSize);
  return zvlogtest::RealWrite(aDescriptor, aData, aSize);
}

ZV_INTERPOSED ssize_t getrandom(void *aBuffer, size_t aSize, unsigned int aFlags) {
  if (zvlogtest::sRandom.IsSet()) return zvlogtest::sRandom.Get()(aBuffer, aSize);
  return syscall(SYS_getrandom, aBuffer, aSize, aFlags);
}

ZV_INTERPOSED int dup3(int anOld, int aNew, int aFlags) noexcept {
  if (zvlogtest::sDup3.IsSet()) zvlogtest::sDup3.Get()();
  return static_cast<int>(syscall(SYS_dup3, anOld, aNew, aFlags));
}
