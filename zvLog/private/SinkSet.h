// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The sinks that are in use together, and changing them.
#pragma once

#include "FileChannel.h"
#include "ForkSafeLock.h"
#include "SystemLog.h"

namespace zvlog {

constexpr zvLogLevel kEveryLevel = UINT16_MAX;

enum class SinkKind { StandardError, File, SystemLog };

struct Sink {
  SinkKind mKind;
  zvLogLevel mHighestLevel;
  FileChannel *mFile;
  const SocketAddress *mAddress;
};

// Sets are never changed nor released: a thread may be using one. An equal one is used again, so that a
// program which switches to and fro does not grow.
struct SinkSet {
  int mCount;
  Sink mSinks[kMaximumSinks];
  SinkSet *mNext;
};

extern std::atomic<const SinkSet *> gSinkSet;
// The set that holds until another is chosen.
extern SinkSet gStandardErrorOnly;
// Whether settings have chosen sinks, and the program has set none in their place since.
extern std::atomic<bool> gfSinksOfSettings;

struct FileSink {
  const char *mPath;
  zvLogLevel mHighestLevel;
  uint64 mMaximumSize;  // 0: none
  uint32 mGenerations;  // how many former files are kept
};

// One change of the sinks at a time. Not for signal handlers. Nothing changes before it is put into force,
// and nothing is left of one that is not. Functions that answer false say why in errno, and change nothing.
class SinkChange {
 public:
  enum class Former { Replaced, Kept };
  explicit SinkChange(Former aFormer);
  ~SinkChange();
  SinkChange(const SinkChange &) = delete;
  SinkChange &operator=(const SinkChange &) = delete;

  bool HasRoom() const;
  bool AddStandardError(zvLogLevel aHighestLevel);
  bool AddFile(const FileSink &aFile);
  bool AddSystemLog(const char *aSocketPath, zvLogLevel aHighestLevel);
  // Puts into force what was added.
  bool Commit();
  // Leaves no sink but the program's function.
  void CommitNone();

 private:
  bool Add(const Sink &aSink);
  FileChannel *ChannelFor(const FilePlace *aPlace) const;

  const LockHold mLock;
  SinkSet mSet = {};
};

}  // namespace zvlog
