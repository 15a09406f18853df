// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// One way out for records. What became of those before decides how the next one is written.
#pragma once

#include "FinishedRecord.h"
#include "HarmlessWrite.h"

#include <atomic>

namespace zvlog {

constexpr int kPatienceMilliseconds = 200;  // with a reader that does not keep up

class Outlet {
 public:
  // 0, or the error that kept the record from being written whole. Such records are counted, and the next
  // that can be written follows a record that tells how many there were; EBADF is left to the caller.
  // After a reader has not kept up, nothing waits for it until something could be written again.
  int Write(const Target &aTarget, const FinishedRecord &aRecord);
  void CountLoss(int anError);
  // Begins anew, with another target.
  void Forget();

 private:
  // It is no part of its caller, which needs little stack otherwise.
  __attribute__((noinline)) int TellLosses(const Target &aTarget, const FinishedRecord &aRecord,
                                           Patience *aPatience);
  int WriteRecord(const Target &aTarget, const FinishedRecord &aRecord, Patience *aPatience);
  int EndTornLine(const Target &aTarget, Patience *aPatience);

  std::atomic<uint32> mLost{0};
  std::atomic<int> mLossError{0};
  std::atomic<bool> mfStalled{false};
  std::atomic<bool> mfTorn{false};  // the last line has no end
};

}  // namespace zvlog
