/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* What libraries cost a process that only loads them: the pages that are the process's own. They are
 * what the loader relocates and what the libraries' constructors write; the rest is shared with every process
 * that has them. Thread-local memory is not among them, the C library keeps that.
 *
 *   zvlog_load LIMIT LIBRARY...   fails when those of the libraries have more than so many bytes together
 *
 * The sums of /proc/self/smaps do not tell: a mapping without a name may hold the library's data and the
 * loader's, and pages of a file that was just built count as written.
 */
#include <zvLog/zvLog.h>

#include <fcntl.h>
#include <link.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

/* In an entry of /proc/self/pagemap. The page of zeros, read and never written, is nobody's own. */
static const uint64 kPresent = (uint64)1 << 63;
static const uint64 kOfAFile = (uint64)1 << 61;
static const uint64 kOurOwn = (uint64)1 << 56;

typedef struct Extent {
  const char *mLibrary;
  uintptr_t mBegin;
  uintptr_t mEnd;
} Extent;

static int FindLibrary(struct dl_phdr_info *anInfo, size_t aSize, void *aResult) {
  Extent *theExtent = aResult;
  int theIndex;
  (void)aSize;
  if (strstr(anInfo->dlpi_name, theExtent->mLibrary) == NULL) return 0;
  for (theIndex = 0; theIndex < anInfo->dlpi_phnum; ++theIndex) {
    const ElfW(Phdr) *thePart = &anInfo->dlpi_phdr[theIndex];
    const uintptr_t theBegin = anInfo->dlpi_addr + thePart->p_vaddr;
    if (thePart->p_type != PT_LOAD) continue;
    if (theExtent->mEnd == 0) theExtent->mBegin = theBegin;
    theExtent->mEnd = theBegin + thePart->p_memsz;
  }
  return 1;
}

/* The bytes of the library that are the process's own; 0 when it cannot be seen. */
static unsigned long PrivateMemoryOf(const char *aLibrary, int aMap) {
  const uintptr_t thePageSize = (uintptr_t)sysconf(_SC_PAGESIZE);
  Extent theExtent = {aLibrary, 0, 0};
  uintptr_t thePage;
  unsigned long theMapped = 0;
  unsigned long thePrivate = 0;
  dl_iterate_phdr(FindLibrary, &theExtent);
  for (thePage = theExtent.mBegin / thePageSize; thePage * thePageSize < theExtent.mEnd; ++thePage) {
    uint64 theEntry;
    if (pread(aMap, &theEntry, sizeof(theEntry), (off_t)(thePage * sizeof(theEntry))) != sizeof(theEntry))
      return 0;
    if ((theEntry & kPresent) == 0) continue;
    theMapped += thePageSize;
    if ((theEntry & kOfAFile) == 0 && (theEntry & kOurOwn) != 0) thePrivate += thePageSize;
  }
  printf("%s: %lu bytes of private memory, %lu mapped\n", aLibrary, thePrivate, theMapped);
  return thePrivate < theMapped ? thePrivate : 0;
}

int main(int aCount, char **anArguments) {
  const unsigned long theLimit = aCount > 1 ? strtoul(anArguments[1], NULL, 10) : 0;
  const int theMap = open("/proc/self/pagemap", O_RDONLY);
  unsigned long theSum = 0;
  int theIndex;
  /* The call makes the program need the library; it writes nothing. */
  if (theMap < 0 || aCount < 3 || zvLog_WillLog(0, 0) < 0) return 2;
  for (theIndex = 2; theIndex < aCount; ++theIndex) {
    const unsigned long theMemory = PrivateMemoryOf(anArguments[theIndex], theMap);
    if (theMemory == 0) return 2;
    theSum += theMemory;
  }
  close(theMap);
  return theSum <= theLimit ? 0 : 1;
}
