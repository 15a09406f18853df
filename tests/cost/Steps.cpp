// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

#include "cost/Steps.h"

#include <dlfcn.h>
#include <link.h>
#include <signal.h>
#include <string.h>
#include <ucontext.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zvlog/TrapFlag.h"

namespace costtest {
namespace {

constexpr const char *kOurLibraries[] = {"/libzvOS.so", "/libzvLog.so", "/libzvos_cost_message.so"};
constexpr const char *kAllocators[] = {"malloc",        "calloc",         "realloc", "reallocarray",
                                       "aligned_alloc", "posix_memalign", "memalign"};

struct Extent {
  uintptr_t mBegin;
  uintptr_t mEnd;
};

// Found beforehand, for a signal handler looks at them.
std::vector<Extent> sCode;
std::vector<uintptr_t> sAllocators;
Steps sSteps;

bool IsOurs(const char *aLibrary) {
  for (const char *theName : kOurLibraries) {
    if (strstr(aLibrary, theName) != nullptr) return true;
  }
  return false;
}

int AddCode(struct dl_phdr_info *anInfo, size_t, void *) {
  if (!IsOurs(anInfo->dlpi_name)) return 0;
  for (int theIndex = 0; theIndex < anInfo->dlpi_phnum; ++theIndex) {
    const ElfW(Phdr) &thePart = anInfo->dlpi_phdr[theIndex];
    if (thePart.p_type != PT_LOAD || (thePart.p_flags & PF_X) == 0) continue;
    const uintptr_t theBegin = anInfo->dlpi_addr + thePart.p_vaddr;
    sCode.push_back({theBegin, theBegin + thePart.p_memsz});
  }
  return 0;
}

void Prepare() {
  sCode.clear();
  sAllocators.clear();
  dl_iterate_phdr(AddCode, nullptr);
  for (const char *theName : kAllocators) {
    void *const theFunction = dlsym(RTLD_DEFAULT, theName);
    if (theFunction != nullptr) sAllocators.push_back(reinterpret_cast<uintptr_t>(theFunction));
  }
  if (sCode.size() != std::size(kOurLibraries) || sAllocators.size() != std::size(kAllocators)) abort();
}

// Before each instruction.
void Count(int, siginfo_t *, void *aContext) {
  const auto *const theContext = static_cast<const ucontext_t *>(aContext);
  const auto thePlace = static_cast<uintptr_t>(theContext->uc_mcontext.gregs[REG_EIP]);
  ++sSteps.mAll;
  for (const Extent &theCode : sCode)
    sSteps.mInOurLibraries += thePlace >= theCode.mBegin && thePlace < theCode.mEnd;
  for (const uintptr_t theAllocator : sAllocators)
    sSteps.mAllocations += thePlace == theAllocator;
}

}  // namespace

Steps StepThrough(void (*aFunction)(void *), void *anArgument) {
  Prepare();
  struct sigaction theAction = {};
  struct sigaction theBefore = {};
  theAction.sa_sigaction = Count;
  theAction.sa_flags = SA_SIGINFO;
  sSteps = {};
  if (sigaction(SIGTRAP, &theAction, &theBefore) != 0) abort();
  zvlogtest::SetTrapFlag(true);
  aFunction(anArgument);
  zvlogtest::SetTrapFlag(false);
  sigaction(SIGTRAP, &theBefore, nullptr);
  return sSteps;
}

}  // namespace costtest
