// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file that records are appended to, which may also be a pipe with a name or a terminal.

#include "private/FileChannel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

using zvlog::FilePlace;

constexpr uint32 kRecordsPerLook = 1024;  // other processes may append, too

FilePlace *sPlaces = nullptr;

// A pipe without a reader is refused rather than waited for.
int OpenFile(const FilePlace *aPlace) {
  return open(aPlace->mPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644);
}

bool IsHugeFile(int aDescriptor) {
  struct stat theStatus;
  return fstat(aDescriptor, &theStatus) == 0 && zvlog::IsHuge(theStatus.st_size);
}

// The absolute form of a path, in memory of its own; NULL with errno.
char *AbsolutePath(const char *aPath) {
  if (*aPath == '/') return strdup(aPath);
  char *theFolder = getcwd(nullptr, 0);
  if (theFolder == nullptr) return nullptr;
  const size_t theFolderLength = strlen(theFolder);
  char *thePath = static_cast<char *>(realloc(theFolder, theFolderLength + 1 + strlen(aPath) + 1));
  if (thePath == nullptr) {
    free(theFolder);
    return nullptr;
  }
  thePath[theFolderLength] = '/';
  strcpy(thePath + theFolderLength + 1, aPath);
  return thePath;
}

}  // namespace

namespace zvlog {

FileChannel gFileChannels[kFileChannels];

const FilePlace *FindOrAddPlace(const char *aPath) {
  if (*aPath == '\0') {
    errno = ENOENT;
    return nullptr;
  }
  char *thePath = AbsolutePath(aPath);
  if (thePath == nullptr) return nullptr;
  for (FilePlace *thePlace = sPlaces; thePlace != nullptr; thePlace = thePlace->mNext) {
    if (strcmp(thePlace->mPath, thePath) == 0) {
      free(thePath);
      return thePlace;
    }
  }
  FilePlace *theNew = static_cast<FilePlace *>(calloc(1, sizeof(FilePlace)));
  if (theNew == nullptr) {
    free(thePath);
    return nullptr;
  }
  *theNew = {thePath, sPlaces};
  sPlaces = theNew;
  return theNew;
}

LastingDescriptor *FileChannel::Descriptor() {
  return &gDescriptors[this - gFileChannels];
}

bool FileChannel::Open(const FilePlace *aPlace) {
  const int theFile = OpenFile(aPlace);
  if (theFile < 0) return false;
  const Medium theMedium = Examine(theFile).mMedium;
  const bool afHuge = IsHugeFile(theFile);
  const FilePlace *theFormer = mPlace.exchange(aPlace);
  if (!Descriptor()->Install(theFile)) {
    mPlace.store(theFormer);
    return false;
  }
  if (theFormer != aPlace) mOutlet.Forget();
  mMedium.store(theMedium, std::memory_order_relaxed);
  mfHuge.store(afHuge, std::memory_order_relaxed);
  return true;
}

void FileChannel::Release() {
  mPlace.store(nullptr);
  Descriptor()->Release();
  mOutlet.Forget();
}

// By a record, when the program has closed the descriptor. A setter that comes between has the last word: it
// installs after it has set the place.
int FileChannel::OpenAgain(const FilePlace *aPlace) {
  const int theFile = OpenFile(aPlace);
  if (theFile < 0 || !Descriptor()->Install(theFile)) return kNoDescriptor;
  return Descriptor()->Number();
}

Target FileChannel::TargetOf(int aDescriptor) {
  const bool afLook = mRecords.fetch_add(1, std::memory_order_relaxed) % kRecordsPerLook == 0;
  if (afLook && IsHugeFile(aDescriptor)) mfHuge.store(true, std::memory_order_relaxed);
  return {aDescriptor, mMedium.load(std::memory_order_relaxed), true, mfHuge.load(std::memory_order_relaxed),
          nullptr};
}

int FileChannel::Write(const FinishedRecord &aRecord) {
  int theError = EBADF;
  for (int theAttempt = 0; theAttempt < 2 && theError == EBADF; ++theAttempt) {
    const FilePlace *thePlace = mPlace.load(std::memory_order_acquire);
    if (thePlace == nullptr) return EBADF;
    int theDescriptor = Descriptor()->Number();
    if (theDescriptor == kNoDescriptor) theDescriptor = OpenAgain(thePlace);
    if (theDescriptor == kNoDescriptor) {
      theError = errno;
      mOutlet.CountLoss(theError);
      return theError;
    }
    theError = mOutlet.Write(TargetOf(theDescriptor), aRecord);
  }
  return theError;
}

}  // namespace zvlog
