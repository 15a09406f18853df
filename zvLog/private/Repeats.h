// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Records that come again and again.
#pragma once

#include "FinishedRecord.h"

namespace zvlog {

constexpr uint32 kHighestRepeatLimit = 1000000;

// Delivers the record, unless it is the same as those before it and more of them were delivered in this
// second than the limit says. The next record that is delivered follows one that tells how many were left
// out.
void DeliverUnlessRepeated(const FinishedRecord &aRecord);

// What was left out under a limit that holds no more. It is told by a record at the end of the object's life,
// in which no lock may be held: the program's function gets that record, and may change all settings.
class LeftOutRepeats {
 public:
  LeftOutRepeats() = default;
  ~LeftOutRepeats();
  LeftOutRepeats(const LeftOutRepeats &) = delete;
  LeftOutRepeats &operator=(const LeftOutRepeats &) = delete;

  // How many of the same are delivered in a second; 0: all of them. Once in the object's life.
  void ReplaceLimit(uint32 aLimit);

 private:
  uint64 mLast = 0;
  uint32 mFormerLimit = 0;
};

// In a child: the parent tells what was left out.
void ForgetRepeats();

}  // namespace zvlog
