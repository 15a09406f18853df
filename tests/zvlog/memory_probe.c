/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A program that only links the log library, and prints how many pages of it are this process's own: those
 * that loading it has written. */
#include <zvLog/zvLog.h>

#include <fcntl.h>
#include <link.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static const uintptr_t kPageSize = 4096;
static const uint64_t kPresent = (uint64_t)1 << 63;
static const uint64_t kOfFile = (uint64_t)1 << 61;
static const uint64_t kExclusive = (uint64_t)1 << 56;

static int CountOwnPages(struct dl_phdr_info *anInfo, size_t aSize, void *aCount) {
  const int thePages = open("/proc/self/pagemap", O_RDONLY);
  int theIndex;
  (void)aSize;
  if (strstr(anInfo->dlpi_name, "libzvLog.so") == NULL) return 0;
  for (theIndex = 0; theIndex < anInfo->dlpi_phnum; ++theIndex) {
    const uintptr_t theBegin = anInfo->dlpi_addr + anInfo->dlpi_phdr[theIndex].p_vaddr;
    const uintptr_t theEnd = theBegin + anInfo->dlpi_phdr[theIndex].p_memsz;
    uintptr_t thePage;
    if (anInfo->dlpi_phdr[theIndex].p_type != PT_LOAD) continue;
    for (thePage = theBegin / kPageSize; thePage * kPageSize < theEnd; ++thePage) {
      uint64_t theEntry = 0;
      if (pread(thePages, &theEntry, sizeof theEntry, (off_t)(thePage * sizeof theEntry)) !=
          (ssize_t)sizeof theEntry) {
        return 1;
      }
      if ((theEntry & (kPresent | kOfFile | kExclusive)) == (kPresent | kExclusive)) ++*(int *)aCount;
    }
  }
  return close(thePages);
}

int main(void) {
  int theCount = 0;
  if (_zvLog_Level == 0 || dl_iterate_phdr(CountOwnPages, &theCount) != 0 || theCount == 0) return 1;
  printf("%d pages\n", theCount);
  return 0;
}
