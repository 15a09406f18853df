// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Faults are put between the library under test and the system by changing the library's table of
// imported addresses: when the test program starts, every entry of a function in FaultedCalls.h is
// replaced with a hook. So exactly the calls of the library are seen, not those of the tests, of
// GoogleTest or of the C++ library; the hook passes on to the very address that the loader had
// entered, whatever its symbol version and be it a sanitizer's; and even malloc() can fail
// without anybody else noticing.

#include "support/Faults.h"

#include "support/FaultedCalls.h"

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <type_traits>

namespace zvtest {
namespace {

enum Import {
#define ZVTEST_ROW(import, ...) kImport_##import,
  ZVTEST_FAULTABLE(ZVTEST_ROW) ZVTEST_FAULTABLE_OPEN(ZVTEST_ROW)
#undef ZVTEST_ROW
      kImportCount
};

struct Function {
  const char *mImport;
  const char *mFault;
  void *mHook;
};

// What the loader had entered; the hooks pass on to it.
void *sOriginals[kImportCount];

// Imports that share a name for tests share the number of the first of them.
int sFaultNumbers[kImportCount];

// Where the library is loaded.
ElfW(Addr) sLibraryBegin;
ElfW(Addr) sLibraryEnd;

thread_local int sCalls[kImportCount];

int (*sRealBacktrace)(void **, int);

}  // namespace

struct Fault::State {
  int mFault = 0;
  int mError = 0;
  int mSkip = 0;
  int mCount = 0;
  bool mfReturning = false;
  bool mfPassingThrough = false;
  bool mfAnyThread = false;
  long long mValue = 0;
  unsigned long mSequence = 0;
  std::function<void(const long long *)> mAction;
  std::atomic<int> mHits{0};
};

namespace {

using State = Fault::State;
using StatePointer = std::shared_ptr<State>;

// The faults in force, newest first. Those of one thread need no lock.
thread_local std::list<StatePointer> sOwnFaults;
std::list<StatePointer> sCommonFaults;
std::mutex sCommonFaultsLock;
std::atomic<int> sCommonFaultCount{0};
std::atomic<unsigned long> sSequence{0};

// The newest fault of the function that has not done its work yet.
StatePointer Newest(const std::list<StatePointer> &someFaults, int aFault) {
  for (const StatePointer &theState : someFaults) {
    if (theState->mFault == aFault && (theState->mSkip > 0 || theState->mCount != 0)) return theState;
  }
  return nullptr;
}

// The fault that takes this call, if one does.
StatePointer Decide(int anImport) {
  const int theFault = sFaultNumbers[anImport];
  ++sCalls[theFault];

  std::unique_lock<std::mutex> theGuard(sCommonFaultsLock, std::defer_lock);
  StatePointer theState = Newest(sOwnFaults, theFault);
  if (sCommonFaultCount.load() > 0) {
    theGuard.lock();
    StatePointer theCommon = Newest(sCommonFaults, theFault);
    if (theCommon && (!theState || theCommon->mSequence > theState->mSequence)) theState = theCommon;
  }
  if (!theState) return nullptr;
  if (theState->mSkip > 0) {
    --theState->mSkip;
    return nullptr;
  }
  if (theState->mCount > 0) --theState->mCount;
  ++theState->mHits;
  return theState;
}

void Act(const State &aState, const long long *anArguments) {
  if (!aState.mAction) return;
  const int theError = errno;
  aState.mAction(anArguments);
  errno = theError;
}

long long FailureOf(const State &aState, Failure aFailure) {
  if (aState.mfReturning) {
    if (aState.mError != 0) errno = aState.mError;
    return aState.mValue;
  }
  if (aFailure == Failure::kErrorNumber) return aState.mError;
  errno = aState.mError;
  return aFailure == Failure::kZero ? 0 : -1;
}

template <typename Type>
long long ToInteger(Type aValue) {
  if constexpr (std::is_pointer_v<Type>) {
    return static_cast<long long>(reinterpret_cast<intptr_t>(aValue));
  } else {
    return static_cast<long long>(aValue);
  }
}

template <typename Type>
Type FromInteger(long long aValue) {
  if constexpr (std::is_pointer_v<Type>) {
    return reinterpret_cast<Type>(static_cast<intptr_t>(aValue));
  } else {
    return static_cast<Type>(aValue);
  }
}

// One call of the library, with the way to really make it.
template <typename Result, typename Real>
Result Answer(int anImport, Failure aFailure, const long long *anArguments, Real aReal) {
  const StatePointer theState = Decide(anImport);
  if (!theState) return aReal();

  if (theState->mfPassingThrough) {
    if constexpr (std::is_void_v<Result>) {
      // Afterwards nothing is left to look at.
      Act(*theState, anArguments);
      aReal();
      return;
    } else {
      const Result theResult = aReal();
      Act(*theState, anArguments);
      return theResult;
    }
  }

  Act(*theState, anArguments);
  const long long theValue = FailureOf(*theState, aFailure);
  if constexpr (!std::is_void_v<Result>) return FromInteger<Result>(theValue);
}

template <int kImport, Failure kFailure, typename Type>
struct Hook;

template <int kImport, Failure kFailure, typename Result, typename... Arguments>
struct Hook<kImport, kFailure, Result(Arguments...)> {
  static Result Call(Arguments... someArguments) {
    const long long theValues[] = {ToInteger(someArguments)..., 0};
    return Answer<Result>(kImport, kFailure, theValues, [&]() -> Result {
      return reinterpret_cast<Result (*)(Arguments...)>(sOriginals[kImport])(someArguments...);
    });
  }
};

template <int kImport>
int OpenHook(const char *aPath, int someFlags, ...) {
  mode_t theMode = 0;
  if ((someFlags & O_CREAT) != 0) {
    va_list theArguments;
    va_start(theArguments, someFlags);
    theMode = va_arg(theArguments, mode_t);
    va_end(theArguments);
  }
  const long long theValues[] = {ToInteger(aPath), someFlags, theMode};
  return Answer<int>(kImport, Failure::kMinusOne, theValues, [&]() -> int {
    return reinterpret_cast<int (*)(const char *, int, ...)>(sOriginals[kImport])(aPath, someFlags, theMode);
  });
}

const Function kFunctions[kImportCount] = {
#define ZVTEST_ROW(import, fault, failure, ...) \
  {#import, #fault, reinterpret_cast<void *>(&Hook<kImport_##import, Failure::failure, __VA_ARGS__>::Call)},
    ZVTEST_FAULTABLE(ZVTEST_ROW)
#undef ZVTEST_ROW
#define ZVTEST_ROW(import, fault) {#import, #fault, reinterpret_cast<void *>(&OpenHook<kImport_##import>)},
        ZVTEST_FAULTABLE_OPEN(ZVTEST_ROW)
#undef ZVTEST_ROW
};

[[noreturn]] void GiveUp(const char *aReason, const char *aName) {
  fprintf(stderr, "Faults: %s: %s\n", aReason, aName);
  abort();
}

// A call stack taken through a hook begins with the hook; the library must see its own. The library
// may ask for it after a crash, so nothing is allocated here.
int BacktraceWithoutHook(void **someFrames, int aCount) {
  constexpr int kMostFrames = 256;
  constexpr int kMostHookFrames = 16;
  void *theFrames[kMostFrames + kMostHookFrames];
  const int theDepth = sRealBacktrace(theFrames, std::clamp(aCount, 0, kMostFrames) + kMostHookFrames);

  void **const theEnd = theFrames + theDepth;
  void **theFirst = std::find_if(theFrames, theEnd, [](void *aFrame) {
    const auto theAddress = reinterpret_cast<ElfW(Addr)>(aFrame);
    return theAddress >= sLibraryBegin && theAddress < sLibraryEnd;
  });
  if (theFirst == theEnd) theFirst = theFrames;
  const int theCount = std::min(aCount, static_cast<int>(theEnd - theFirst));
  std::copy_n(theFirst, theCount, someFrames);
  return theCount;
}

// The tables of a loaded library that name its imports.
class DynamicSection {
 public:
  DynamicSection(ElfW(Addr) aBase, const ElfW(Dyn) * aDynamic) : mBase(aBase) {
    for (const ElfW(Dyn) *theEntry = aDynamic; theEntry->d_tag != DT_NULL; ++theEntry) {
      const auto theIndex = static_cast<size_t>(theEntry->d_tag);
      if (theIndex < kTagCount) mValues[theIndex] = theEntry->d_un.d_ptr;
      if (theEntry->d_tag == DT_FLAGS_1) mfBoundAtStart = (theEntry->d_un.d_val & DF_1_NOW) != 0;
    }
  }

  bool IsBoundAtStart() const { return mfBoundAtStart || (mValues[DT_FLAGS] & DF_BIND_NOW) != 0; }

  // Calls aVisitor(name, slot) for the address of every imported function.
  template <typename Visitor>
  void ForEachImport(Visitor aVisitor) const {
    ForEachIn<ElfW(Rel)>(DT_REL, DT_RELSZ, aVisitor);
    ForEachIn<ElfW(Rela)>(DT_RELA, DT_RELASZ, aVisitor);
    if (mValues[DT_PLTREL] == DT_REL) ForEachIn<ElfW(Rel)>(DT_JMPREL, DT_PLTRELSZ, aVisitor);
    if (mValues[DT_PLTREL] == DT_RELA) ForEachIn<ElfW(Rela)>(DT_JMPREL, DT_PLTRELSZ, aVisitor);
  }

 private:
  static constexpr size_t kTagCount = 40;

  ElfW(Addr) At(size_t aTag) const { return mValues[aTag] < mBase ? mBase + mValues[aTag] : mValues[aTag]; }

  template <typename Relocation, typename Visitor>
  void ForEachIn(size_t aTableTag, size_t aSizeTag, Visitor aVisitor) const {
    if (mValues[aTableTag] == 0) return;
    const auto *theSymbols = reinterpret_cast<const ElfW(Sym) *>(At(DT_SYMTAB));
    const auto *theNames = reinterpret_cast<const char *>(At(DT_STRTAB));
    const auto *theRelocations = reinterpret_cast<const Relocation *>(At(aTableTag));
    for (size_t i = 0; i < mValues[aSizeTag] / sizeof(Relocation); ++i) {
      const size_t theSymbol = sizeof(void *) == 8 ? static_cast<size_t>(theRelocations[i].r_info >> 31 >> 1)
                                                   : static_cast<size_t>(theRelocations[i].r_info >> 8);
      if (theSymbol == 0 || theSymbols[theSymbol].st_shndx != SHN_UNDEF) continue;
      aVisitor(theNames + theSymbols[theSymbol].st_name,
               reinterpret_cast<void **>(mBase + theRelocations[i].r_offset));
    }
  }

  ElfW(Addr) mBase;
  ElfW(Addr) mValues[kTagCount] = {};
  bool mfBoundAtStart = false;
};

// The table is read-only once the loader has filled it in.
void WriteProtected(void **aSlot, void *aValue) {
  const auto thePageSize = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  void *thePage = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(aSlot) & ~(thePageSize - 1));
  if (mprotect(thePage, thePageSize, PROT_READ | PROT_WRITE) != 0) GiveUp("mprotect", strerror(errno));
  *aSlot = aValue;
}

void HookImport(const char *aName, void **aSlot) {
  for (int i = 0; i < kImportCount; ++i) {
    if (strcmp(kFunctions[i].mImport, aName) != 0) continue;
    if (*aSlot == kFunctions[i].mHook) return;
    sOriginals[i] = *aSlot;
    WriteProtected(aSlot, kFunctions[i].mHook);
    return;
  }
}

int HookLibrary(dl_phdr_info *anInfo, size_t, void *) {
  if (strstr(anInfo->dlpi_name, "/libzvOS.so") == nullptr) return 0;

  const ElfW(Dyn) *theDynamic = nullptr;
  for (int i = 0; i < anInfo->dlpi_phnum; ++i) {
    const ElfW(Phdr) &theHeader = anInfo->dlpi_phdr[i];
    const ElfW(Addr) theBegin = anInfo->dlpi_addr + theHeader.p_vaddr;
    if (theHeader.p_type == PT_DYNAMIC) theDynamic = reinterpret_cast<const ElfW(Dyn) *>(theBegin);
    if (theHeader.p_type == PT_LOAD) sLibraryEnd = std::max(sLibraryEnd, theBegin + theHeader.p_memsz);
  }
  sLibraryBegin = anInfo->dlpi_addr;
  if (theDynamic == nullptr) GiveUp("no dynamic section", anInfo->dlpi_name);

  const DynamicSection theSection(anInfo->dlpi_addr, theDynamic);
  if (!theSection.IsBoundAtStart()) GiveUp("imports are not bound at start", anInfo->dlpi_name);
  theSection.ForEachImport(HookImport);
  return 1;
}

int FaultNumber(const char *aFault) {
  for (int i = 0; i < kImportCount; ++i) {
    if (strcmp(kFunctions[i].mFault, aFault) == 0) return i;
  }
  GiveUp("no fault of this name", aFault);
}

bool IsImported(int aFault) {
  for (int i = 0; i < kImportCount; ++i) {
    if (sFaultNumbers[i] == aFault && sOriginals[i] != nullptr) return true;
  }
  return false;
}

void HookBacktrace() {
  if (sOriginals[kImport_backtrace] == nullptr) return;
  sRealBacktrace = reinterpret_cast<int (*)(void **, int)>(sOriginals[kImport_backtrace]);
  sOriginals[kImport_backtrace] = reinterpret_cast<void *>(&BacktraceWithoutHook);
}

struct Installer {
  Installer() {
    for (int i = 0; i < kImportCount; ++i)
      sFaultNumbers[i] = FaultNumber(kFunctions[i].mFault);
    if (dl_iterate_phdr(HookLibrary, nullptr) == 0) GiveUp("not loaded", "libzvOS.so");
    HookBacktrace();
  }
};
const Installer kInstaller;

}  // namespace

Fault::Fault(const char *aFunction, int anError, int aSkip, int aCount) : mState(nullptr) {
  auto theState = std::make_shared<State>();
  theState->mFault = FaultNumber(aFunction);
  theState->mError = anError;
  theState->mSkip = aSkip;
  theState->mCount = aCount;
  theState->mSequence = ++sSequence;
  if (!IsImported(theState->mFault)) ADD_FAILURE() << "the library does not call " << aFunction << "()";
  mState = theState.get();
  sOwnFaults.push_front(std::move(theState));
}

Fault::~Fault() {
  const auto isOurs = [this](const StatePointer &aState) { return aState.get() == mState; };
  if (!mState->mfAnyThread) {
    sOwnFaults.remove_if(isOurs);
    return;
  }
  const std::lock_guard<std::mutex> theGuard(sCommonFaultsLock);
  sCommonFaults.remove_if(isOurs);
  --sCommonFaultCount;
}

Fault &Fault::Returning(long long aValue) {
  mState->mfReturning = true;
  mState->mValue = aValue;
  return *this;
}

Fault &Fault::Doing(std::function<void(const long long *anArguments)> anAction) {
  mState->mAction = std::move(anAction);
  return *this;
}

Fault &Fault::PassingThrough() {
  mState->mfPassingThrough = true;
  return *this;
}

Fault &Fault::AnyThread() {
  const auto isOurs = [this](const StatePointer &aState) { return aState.get() == mState; };
  const auto theOwn = std::find_if(sOwnFaults.begin(), sOwnFaults.end(), isOurs);
  if (theOwn == sOwnFaults.end()) return *this;

  const std::lock_guard<std::mutex> theGuard(sCommonFaultsLock);
  mState->mfAnyThread = true;
  sCommonFaults.splice(sCommonFaults.begin(), sOwnFaults, theOwn);
  ++sCommonFaultCount;
  return *this;
}

int Fault::Hits() const {
  return mState->mHits;
}

int CallsOf(const char *aFunction) {
  return sCalls[FaultNumber(aFunction)];
}

}  // namespace zvtest
