// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A file that records are appended to.
#pragma once

#include "FilePlace.h"
#include "LastingDescriptor.h"
#include "Outlet.h"

namespace zvlog {

class FileChannel {
 public:
  // For setters. Opens first: a failure leaves the channel alone. False with errno.
  bool Open(const FilePlace *aPlace);
  void Release();
  bool IsAt(const FilePlace *aPlace) const { return mPlace.load(std::memory_order_relaxed) == aPlace; }

  // 0, or the error that kept the record from being written. A file that the program closed is opened again.
  int Write(const FinishedRecord &aRecord);

  // In a child: no other thread is at it any more.
  void ForgetOtherThreads();

 private:
  class Turn;
  int DescriptorFor(const FilePlace &aPlace, const FinishedRecord &aRecord);
  bool Take(int aFile, const FilePlace *aPlace);
  int OpenAgain();
  bool ReopenIfRequested(pid_t aThread);
  bool AwaitTurn(pid_t aThread);
  void OpenNext(const FilePlace &aPlace, uint64 aLength);
  __attribute__((noinline)) bool MakeRoom(int aDescriptor, const FilePlace &aPlace,
                                          const FinishedRecord &aRecord);
  Target TargetOf(int aDescriptor);
  LastingDescriptor *Descriptor();

  std::atomic<const FilePlace *> mPlace{nullptr};
  std::atomic<Medium> mMedium{Medium::Seekable};
  std::atomic<bool> mfHuge{false};
  std::atomic<bool> mfTurnStalled{false};
  std::atomic<pid_t> mTurnOf{0};  // the thread that is putting another file in its place
  std::atomic<uint32> mRecords{0};
  std::atomic<uint32> mTurnLater{0};  // records to wait for after a failure
  std::atomic<uint32> mReopened{0};   // the last request that was done
  Outlet mOutlet;
};

extern FileChannel gFileChannels[kFileChannels];

}  // namespace zvlog
