// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file that records are appended to.
#pragma once

#include "LastingDescriptor.h"
#include "Outlet.h"

namespace zvlog {

// Where a file is. Places are never released: a thread may be about to open one. Few programs use more than
// a handful, and an equal one is used again.
struct FilePlace {
  const char *mPath;  // absolute: the program may change its folder
  FilePlace *mNext;
};

// The place of a path; NULL with errno. Only for setters, one at a time.
const FilePlace *FindOrAddPlace(const char *aPath);

class FileChannel {
 public:
  // For setters. Opens first: a failure leaves the channel alone. False with errno.
  bool Open(const FilePlace *aPlace);
  void Release();

  // 0, or the error that kept the record from being written. A file that the program closed is opened again.
  int Write(const FinishedRecord &aRecord);

 private:
  int OpenAgain(const FilePlace *aPlace);
  Target TargetOf(int aDescriptor);
  LastingDescriptor *Descriptor();

  std::atomic<const FilePlace *> mPlace{nullptr};
  std::atomic<Medium> mMedium{Medium::Seekable};
  std::atomic<bool> mfHuge{false};
  std::atomic<uint32> mRecords{0};
  Outlet mOutlet;
};

extern FileChannel gFileChannels[kFileChannels];

}  // namespace zvlog
