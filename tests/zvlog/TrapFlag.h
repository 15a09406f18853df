// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Interrupting code after every instruction.
#pragma once

#if (defined(__i386__) || defined(__x86_64__)) && !defined(ZV_SANITIZED)

namespace zvlogtest {

// The trap flag of the processor raises a signal after every instruction.
inline void SetTrapFlag(bool afSet) {
  unsigned long theFlags;
#ifdef __x86_64__
  // Beyond the red zone.
  __asm__ volatile("lea -128(%%rsp), %%rsp; pushfq; popq %0; lea 128(%%rsp), %%rsp"
                   : "=r"(theFlags)
                   :
                   : "memory");
#else
  __asm__ volatile("pushfl; popl %0" : "=r"(theFlags) : : "memory");
#endif
  theFlags = afSet ? theFlags | 0x100UL : theFlags & ~0x100UL;
#ifdef __x86_64__
  __asm__ volatile("lea -128(%%rsp), %%rsp; pushq %0; popfq; lea 128(%%rsp), %%rsp"
                   :
                   : "r"(theFlags)
                   : "memory", "cc");
#else
  __asm__ volatile("pushl %0; popfl" : : "r"(theFlags) : "memory", "cc");
#endif
}

}  // namespace zvlogtest

#endif
