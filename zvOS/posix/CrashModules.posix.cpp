// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The modules of a crash file: which programs and libraries are in the process, where, and which builds.
//
// They are found in the list of mappings that the system gives, and read from memory, where their build ids
// are. Only the revision stamp, which is not loaded, is read from the file, when that is still the one that
// is mapped.

#include "posix/CrashFile.h"
#include "posix/CrashSteps.h"
#include "private/LateTime.h"

#include <link.h>
#include <sys/stat.h>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zvos {

namespace {

constexpr size_t kMostModules = 160;
constexpr size_t kPageSize = 4096;  // the smallest of any processor
constexpr size_t kLongestId = 32;
constexpr size_t kLongestStamp = 200;
constexpr size_t kLongestPath = 900;  // fits into a line of the file
constexpr char kStampSection[] = ".zevo.version";

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);
using Section = ElfW(Shdr);

// Of the report that is being written.
Module sModules[kMostModules];
size_t sModuleCount;
char sPaths[16 * 1024];
size_t sPathsLength;
char sMappings[4096];
uintptr_t sFirstPage;  // of the file whose mappings follow
char sPathOfFirstPage[kLongestPath + 1];

template <typename Thing>
const Thing *At(uintptr_t anAddress) {
  return reinterpret_cast<const Thing *>(anAddress);
}

// Mappings of a file that has been cut short cannot be read, whatever their rights are.
bool IsReadableUntil(uintptr_t aStart, uintptr_t anEnd) {
  for (uintptr_t thePlace = aStart; thePlace < anEnd; thePlace = (thePlace | (kPageSize - 1)) + 1) {
    if (!IsReadable(At<char>(thePlace & ~uintptr_t(7)))) return false;
  }
  return true;
}

// --- images -------------------------------------------------------------------------------------

// The segments of a module whose first page is at the address, or NULL when there is none.
const Segment *SegmentsAt(uintptr_t aStart) {
  if (!IsReadableUntil(aStart, aStart + sizeof(Header))) return nullptr;
  const Header &theHeader = *At<Header>(aStart);
  constexpr unsigned char kClass = sizeof(void *) == 4 ? ELFCLASS32 : ELFCLASS64;
  if (memcmp(theHeader.e_ident, ELFMAG, SELFMAG) != 0 || theHeader.e_ident[EI_CLASS] != kClass)
    return nullptr;
  const size_t theLength = theHeader.e_phnum * sizeof(Segment);
  if (theHeader.e_phentsize != sizeof(Segment) || theHeader.e_phoff % alignof(Segment) != 0 ||
      theHeader.e_phoff > kPageSize || theLength > kPageSize - theHeader.e_phoff)
    return nullptr;
  return At<Segment>(aStart + theHeader.e_phoff);
}

// False when nothing of it is loaded at aStart.
bool Measure(uintptr_t aStart, const Segment *someSegments, Module &aModule) {
  bool afFound = false;
  uintptr_t theEnd = 0, theCodeStart = ~uintptr_t(0), theCodeEnd = 0;
  for (int i = 0; i < At<Header>(aStart)->e_phnum; ++i) {
    const Segment &theSegment = someSegments[i];
    if (theSegment.p_type != PT_LOAD) continue;
    if (theSegment.p_offset < kPageSize && !afFound) {
      aModule.mBias = aStart - (theSegment.p_vaddr - theSegment.p_offset);
      afFound = true;
    }
    const uintptr_t theSegmentEnd = theSegment.p_vaddr + theSegment.p_memsz;
    if (theSegmentEnd > theEnd) theEnd = theSegmentEnd;
    if ((theSegment.p_flags & PF_X) == 0) continue;
    if (theSegment.p_vaddr < theCodeStart) theCodeStart = theSegment.p_vaddr;
    if (theSegmentEnd > theCodeEnd) theCodeEnd = theSegmentEnd;
  }
  aModule.mStart = aStart;
  aModule.mEnd = aModule.mBias + theEnd;
  aModule.mCodeStart = aModule.mBias + theCodeStart;
  aModule.mCodeEnd = aModule.mBias + theCodeEnd;
  return afFound && aModule.mEnd > aStart;
}

struct BuildId {
  const unsigned char *mBytes;
  size_t mLength;
};

size_t RoundUp(size_t aLength) {
  return (aLength + 3) & ~size_t(3);
}

BuildId FindBuildId(uintptr_t aNotes, size_t aLength) {
  constexpr char kOwner[] = "GNU";
  size_t thePlace = 0;
  while (aLength - thePlace >= sizeof(ElfW(Nhdr))) {
    const auto &theNote = *At<ElfW(Nhdr)>(aNotes + thePlace);
    thePlace += sizeof(theNote);
    if (theNote.n_namesz > aLength - thePlace || theNote.n_descsz > aLength - thePlace) break;
    const size_t theBytes = thePlace + RoundUp(theNote.n_namesz);
    const size_t theNext = theBytes + RoundUp(theNote.n_descsz);
    if (theNext > aLength) break;
    if (theNote.n_type == NT_GNU_BUILD_ID && theNote.n_namesz == sizeof(kOwner) &&
        memcmp(At<char>(aNotes + thePlace), kOwner, sizeof(kOwner)) == 0)
      return {At<unsigned char>(aNotes + theBytes), theNote.n_descsz};
    thePlace = theNext;
  }
  return {nullptr, 0};
}

BuildId BuildIdOf(const Module &aModule) {
  const Segment *const theSegments = SegmentsAt(aModule.mStart);
  if (theSegments == nullptr) return {nullptr, 0};
  for (int i = 0; i < At<Header>(aModule.mStart)->e_phnum; ++i) {
    const Segment &theSegment = theSegments[i];
    if (theSegment.p_type != PT_NOTE) continue;
    const uintptr_t theNotes = aModule.mBias + theSegment.p_vaddr;
    if (theNotes < aModule.mStart || theNotes > aModule.mEnd ||
        theSegment.p_memsz > aModule.mEnd - theNotes ||
        !IsReadableUntil(theNotes, theNotes + theSegment.p_memsz))
      continue;
    const BuildId theId = FindBuildId(theNotes, theSegment.p_memsz);
    if (theId.mLength != 0) return theId;
  }
  return {nullptr, 0};
}

// --- mappings -----------------------------------------------------------------------------------

// A module whose first page is at the address.
void AddModule(uintptr_t aStart, const char *aPath) {
  // Linkers may map the first page of a file once more.
  if (sModuleCount == kMostModules || ModuleAt(aStart) != nullptr) return;
  const size_t theLength = strlen(aPath) + 1;
  if (theLength > sizeof(sPaths) - sPathsLength) return;
  const Segment *const theSegments = SegmentsAt(aStart);
  Module theModule = {};
  if (theSegments == nullptr || !Measure(aStart, theSegments, theModule)) return;
  theModule.mPath = static_cast<const char *>(memcpy(sPaths + sPathsLength, aPath, theLength));
  sPathsLength += theLength;
  sModules[sModuleCount++] = theModule;
}

// "f7d00000-f7d22000 r--p 00000000 fe:00 1234      /lib/libc.so.6": the first page of a file, which is looked
// at only when there is code of the file behind it. Other mappings are none of our business.
void TakeMapping(char *aLine) {
  char *theRest = aLine;
  const uintptr_t theStart = static_cast<uintptr_t>(strtoull(theRest, &theRest, 16));
  if (*theRest != '-') return;
  strtoull(theRest + 1, &theRest, 16);
  if (*theRest != ' ' || strlen(theRest) < sizeof(" r--p")) return;
  const bool afReadable = theRest[1] == 'r';
  const bool afCode = theRest[3] == 'x';
  theRest += sizeof(" r--p");
  const bool afFirst = strtoull(theRest, &theRest, 16) == 0;
  const char *const thePath = strpbrk(theRest, "/[");
  if (thePath == nullptr || strncmp(thePath, "/dev/", 5) == 0 || strlen(thePath) > kLongestPath) return;
  if (afFirst && afReadable) {
    sFirstPage = theStart;
    memcpy(sPathOfFirstPage, thePath, strlen(thePath) + 1);
  }
  if (afCode && strcmp(sPathOfFirstPage, thePath) == 0) AddModule(sFirstPage, sPathOfFirstPage);
}

// --- stamps -------------------------------------------------------------------------------------

class PlainFile {
 public:
  explicit PlainFile(const char *aPath)
      : mDescriptor(open(aPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  // A step that is given up leaves the file open: the process is about to end.
  void Close() const {
    if (mDescriptor >= 0) close(mDescriptor);
  }

  bool IsRegular() const {
    struct stat theStatus;
    return mDescriptor >= 0 && DescriptorStat(mDescriptor, &theStatus) == 0 && S_ISREG(theStatus.st_mode);
  }
  bool Read(uint64 anOffset, void *aBuffer, size_t aLength) const {
    return pread(mDescriptor, aBuffer, aLength, static_cast<off_t>(anOffset)) ==
           static_cast<ssize_t>(aLength);
  }

 private:
  const int mDescriptor;
};

// A file that has been replaced since it was mapped is of another build: the beginnings tell, which have the
// build id in them.
bool IsTheFileOf(const Module &aModule, const PlainFile &aFile) {
  constexpr size_t kBeginning = 1024;
  char theBytes[kBeginning];
  return aFile.IsRegular() && aFile.Read(0, theBytes, sizeof(theBytes)) &&
         IsReadableUntil(aModule.mStart, aModule.mStart + kBeginning) &&
         memcmp(theBytes, At<char>(aModule.mStart), sizeof(theBytes)) == 0;
}

bool ReadStamp(const PlainFile &aFile, const Header &aHeader, char (&aStamp)[kLongestStamp + 1]) {
  Section theNames;
  if (aHeader.e_shentsize != sizeof(Section) ||
      !aFile.Read(aHeader.e_shoff + uint64(aHeader.e_shstrndx) * sizeof(Section), &theNames,
                  sizeof(theNames)))
    return false;
  for (unsigned i = 1; i < aHeader.e_shnum; ++i) {
    Section theSection;
    char theName[sizeof(kStampSection)];
    if (!aFile.Read(aHeader.e_shoff + uint64(i) * sizeof(Section), &theSection, sizeof(theSection)))
      return false;
    if (theSection.sh_type != SHT_PROGBITS || theSection.sh_flags != 0 ||
        !aFile.Read(uint64(theNames.sh_offset) + theSection.sh_name, theName, sizeof(theName)) ||
        memcmp(theName, kStampSection, sizeof(theName)) != 0)
      continue;
    const size_t theLength = theSection.sh_size < kLongestStamp ? theSection.sh_size : kLongestStamp;
    aStamp[theLength] = '\0';
    return aFile.Read(theSection.sh_offset, aStamp, theLength);
  }
  return false;
}

}  // namespace

void FindModules() {
  sModuleCount = 0;
  sPathsLength = 0;
  sPathOfFirstPage[0] = '\0';
  const int theFile = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (theFile < 0) return;
  size_t theLength = 0;
  for (;;) {
    const ssize_t theCount = read(theFile, sMappings + theLength, sizeof(sMappings) - 1 - theLength);
    if (theCount < 0 && errno == EINTR) continue;
    if (theCount <= 0) break;
    theLength += static_cast<size_t>(theCount);
    sMappings[theLength] = '\0';
    char *theLine = sMappings;
    for (char *theEnd; (theEnd = strchr(theLine, '\n')) != nullptr; theLine = theEnd + 1) {
      *theEnd = '\0';
      TakeMapping(theLine);
    }
    theLength -= static_cast<size_t>(theLine - sMappings);
    if (theLength == sizeof(sMappings) - 1) theLength = 0;  // no line of the system's is that long
    memmove(sMappings, theLine, theLength);
  }
  close(theFile);
}

const Module *ModuleAt(uintptr_t anAddress) {
  for (size_t i = 0; i < sModuleCount; ++i) {
    if (anAddress >= sModules[i].mStart && anAddress < sModules[i].mEnd) return &sModules[i];
  }
  return nullptr;
}

void TellModules(CrashFile &aFile) {
  for (size_t i = 0; i < sModuleCount; ++i) {
    const Module &theModule = sModules[i];
    const BuildId theId = BuildIdOf(theModule);
    char theText[2 * kLongestId + 1] = "none";
    for (size_t j = 0; j < theId.mLength && j < kLongestId; ++j)
      snprintf(theText + 2 * j, 3, "%02x", theId.mBytes[j]);
    aFile.Add("module %02zu: %s\n", i, theModule.mPath);
    aFile.Add("module %02zu address: 0x%" PRIxPTR "\n", i, theModule.mStart);
    aFile.Add("module %02zu build id: %s\n", i, theText);
  }
}

void TellStamps(CrashFile &aFile) {
  for (size_t i = 0; i < sModuleCount; ++i) {
    const Module &theModule = sModules[i];
    if (theModule.mPath[0] != '/') continue;
    const PlainFile theFile(theModule.mPath);
    char theStamp[kLongestStamp + 1];
    if (IsTheFileOf(theModule, theFile) && ReadStamp(theFile, *At<Header>(theModule.mStart), theStamp)) {
      // The number is on the first line, the label on the second.
      const size_t theNumber = strcspn(theStamp, "\n");
      const char *const theLabel = theStamp + theNumber + (theStamp[theNumber] != '\0' ? 1 : 0);
      aFile.Add("module %02zu revision: r%.*s (%.*s)\n", i, static_cast<int>(theNumber), theStamp,
                static_cast<int>(strcspn(theLabel, "\n")), theLabel);
    }
    theFile.Close();
  }
}

}  // namespace zvos
