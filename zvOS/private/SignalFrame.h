// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// What the system puts on the stack when it calls the handler of a signal, processor by processor: the
// arguments of the handler, and the registers of what was interrupted.
#pragma once

#include <zvOS/zvTypes.h>

#include <csignal>
#include <cstddef>

#include <ucontext.h>

namespace zvos {

// The processor that the code is made for.
#if defined(__i386__)
constexpr char kProcessor[] = "i386";
#elif defined(__x86_64__)
constexpr char kProcessor[] = "x86_64";
#elif defined(__arm__)
constexpr char kProcessor[] = "arm";
#else
constexpr char kProcessor[] = "other";
#endif

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

// A register by its name, and where a context has it.
struct Register {
  const char *mName;
  int mIndex;
};
constexpr Register kRegisters[] = {
#if defined(__i386__)
    {"eax", REG_EAX}, {"ebx", REG_EBX}, {"ecx", REG_ECX},     {"edx", REG_EDX},   {"esi", REG_ESI},
    {"edi", REG_EDI}, {"ebp", REG_EBP}, {"esp", REG_ESP},     {"eip", REG_EIP},   {"eflags", REG_EFL},
    {"cs", REG_CS},   {"ss", REG_SS},   {"trap", REG_TRAPNO}, {"error", REG_ERR},
#else
    {"rax", REG_RAX}, {"rbx", REG_RBX}, {"rcx", REG_RCX},    {"rdx", REG_RDX},     {"rsi", REG_RSI},
    {"rdi", REG_RDI}, {"rbp", REG_RBP}, {"rsp", REG_RSP},    {"r8", REG_R8},       {"r9", REG_R9},
    {"r10", REG_R10}, {"r11", REG_R11}, {"r12", REG_R12},    {"r13", REG_R13},     {"r14", REG_R14},
    {"r15", REG_R15}, {"rip", REG_RIP}, {"eflags", REG_EFL}, {"trap", REG_TRAPNO}, {"error", REG_ERR},
#endif
};
inline uintptr_t ValueOf(const Register &aRegister, const ucontext_t &aContext) {
  return static_cast<uintptr_t>(aContext.uc_mcontext.gregs[aRegister.mIndex]);
}

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

struct Register {
  const char *mName;
  unsigned long mcontext_t::*mField;
};
constexpr Register kRegisters[] = {
    {"r0", &mcontext_t::arm_r0},        {"r1", &mcontext_t::arm_r1},     {"r2", &mcontext_t::arm_r2},
    {"r3", &mcontext_t::arm_r3},        {"r4", &mcontext_t::arm_r4},     {"r5", &mcontext_t::arm_r5},
    {"r6", &mcontext_t::arm_r6},        {"r7", &mcontext_t::arm_r7},     {"r8", &mcontext_t::arm_r8},
    {"r9", &mcontext_t::arm_r9},        {"r10", &mcontext_t::arm_r10},   {"fp", &mcontext_t::arm_fp},
    {"ip", &mcontext_t::arm_ip},        {"sp", &mcontext_t::arm_sp},     {"lr", &mcontext_t::arm_lr},
    {"pc", &mcontext_t::arm_pc},        {"cpsr", &mcontext_t::arm_cpsr}, {"trap", &mcontext_t::trap_no},
    {"error", &mcontext_t::error_code},
};
inline uintptr_t ValueOf(const Register &aRegister, const ucontext_t &aContext) {
  return aContext.uc_mcontext.*aRegister.mField;
}

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

struct Register {
  const char *mName;
};
constexpr Register kRegisters[] = {{"none"}};
inline uintptr_t ValueOf(const Register &, const ucontext_t &) {
  return 0;
}

#endif

}  // namespace zvos
