// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A descriptor whose number lasts: it is never closed while the library is loaded, only made to refer to
// something else, so that a thread which has just read the number can always write to it.
//
// The program may close the number all the same (a daemon closes all), and a file of its own may get it. What
// is the log's own therefore carries a mark, a signal number for input and output that is never sent: asking
// for that costs a third of comparing device and inode, at every record.
#pragma once

#include <atomic>

namespace zvlog {

constexpr int kNoDescriptor = -1;

class LastingDescriptor {
 public:
  // kNoDescriptor when there is none, or when the number is no longer the log's.
  int Number() const;

  // Makes it refer to the file of aDescriptor, which is closed in any case. False with errno.
  bool Install(int aDescriptor);

  // Takes away what it refers to: writes to it then fail with EBADF. Without two free descriptors it stays.
  void Release();

  // Closes it, where it is still the log's.
  void Close();

 private:
  bool Exchange(int aFormer, int aDescriptor);

  std::atomic<int> mNumber{kNoDescriptor};
};

constexpr int kMaximumSinks = 8;
constexpr int kFileChannels = 2 * kMaximumSinks;  // the next ones are opened while the former are in force
constexpr int kSocketOfSystemLog = kFileChannels;
constexpr int kLastingDescriptors = kFileChannels + 1;

// All that there are. They know of each other, because a number that the program closed may be given to
// another of them.
extern LastingDescriptor gDescriptors[kLastingDescriptors];

void CloseKeepingErrno(int aDescriptor);

}  // namespace zvlog
