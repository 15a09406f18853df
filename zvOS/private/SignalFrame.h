// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the system puts on the stack when it calls the handler of a signal, processor by processor.
#pragma once

#include <zvOS/zvTypes.h>

#include <csignal>
#include <cstddef>

#include <ucontext.h>

namespace zvos {

// Whether the arguments of a handler lie where the system puts them, right above the frame of the handler
// (__builtin_dwarf_cfa()). What a caller by hand leaves in their place is not to be touched.
inline bool IsFrameOfSystem([[maybe_unused]] const void *aFrame, [[maybe_unused]] int aSignal,
                            [[maybe_unused]] const siginfo_t *anInfo, [[maybe_unused]] const void *aContext) {
  [[maybe_unused]] const char *const theFrame = static_cast<const char *>(aFrame);
  [[maybe_unused]] const char *const theInfo = reinterpret_cast<const char *>(anInfo);
  [[maybe_unused]] const char *const theContext = static_cast<const char *>(aContext);
#if defined(__SANITIZE_THREAD__)
  // The sanitizer calls handlers from a frame of its own.
  constexpr size_t kFar = 8192;
  return theInfo > theFrame && theInfo < theFrame + kFar && theContext > theFrame &&
         theContext < theFrame + kFar && anInfo->si_signo == aSignal;
#elif defined(__i386__)
  // Behind the signal number and the two pointers.
  return theInfo == theFrame + 3 * sizeof(void *) && theContext == theInfo + sizeof(siginfo_t);
#elif defined(__arm__)
  return theInfo == theFrame && theContext == theInfo + sizeof(siginfo_t);
#elif defined(__x86_64__)
  constexpr size_t kContextSize = 304;  // the system's: without what the C library adds
  return theContext == theFrame && theInfo == theContext + kContextSize;
#else
  return false;
#endif
}

#if defined(__i386__) || defined(__x86_64__)

#if defined(__i386__)
constexpr int kRegister_ProgramCounter = REG_EIP, kRegister_StackPointer = REG_ESP;
#else
constexpr int kRegister_ProgramCounter = REG_RIP, kRegister_StackPointer = REG_RSP;
#endif

inline uintptr_t ProgramCounter(const ucontext_t &aContext) {
  return static_cast<uintptr_t>(aContext.uc_mcontext.gregs[kRegister_ProgramCounter]);
}
inline uintptr_t StackPointer(const ucontext_t &aContext) {
  return static_cast<uintptr_t>(aContext.uc_mcontext.gregs[kRegister_StackPointer]);
}
// Where a function returns to that has just been called. Reads the stack.
inline uintptr_t ReturnAddress(const ucontext_t &aContext) {
  return *reinterpret_cast<const uintptr_t *>(StackPointer(aContext));
}
inline void SetPlace(ucontext_t *aContext, uintptr_t aProgramCounter, uintptr_t aStackPointer) {
  aContext->uc_mcontext.gregs[kRegister_ProgramCounter] = static_cast<greg_t>(aProgramCounter);
  aContext->uc_mcontext.gregs[kRegister_StackPointer] = static_cast<greg_t>(aStackPointer);
}
// What the return from a function takes off the stack.
constexpr uintptr_t kReturnSize = sizeof(uintptr_t);

#elif defined(__arm__)

inline uintptr_t ProgramCounter(const ucontext_t &aContext) {
  return aContext.uc_mcontext.arm_pc;
}
inline uintptr_t StackPointer(const ucontext_t &aContext) {
  return aContext.uc_mcontext.arm_sp;
}
inline uintptr_t ReturnAddress(const ucontext_t &aContext) {
  return aContext.uc_mcontext.arm_lr & ~uintptr_t(1);  // the lowest bit tells the instruction set
}
inline void SetPlace(ucontext_t *aContext, uintptr_t aProgramCounter, uintptr_t aStackPointer) {
  aContext->uc_mcontext.arm_pc = aProgramCounter;
  aContext->uc_mcontext.arm_sp = aStackPointer;
}
constexpr uintptr_t kReturnSize = 0;

#else

// Frames are not recognised here, so that nobody asks.
inline uintptr_t ProgramCounter(const ucontext_t &) {
  return 0;
}
inline uintptr_t StackPointer(const ucontext_t &) {
  return 0;
}
inline uintptr_t ReturnAddress(const ucontext_t &) {
  return 0;
}
inline void SetPlace(ucontext_t *, uintptr_t, uintptr_t) {}
constexpr uintptr_t kReturnSize = 0;

#endif

}  // namespace zvos
