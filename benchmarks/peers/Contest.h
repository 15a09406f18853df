// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The same work done by the bare calls of the system, by this library and by others.
//
// Each contestant has a file of its own, so that the headers of one know nothing of the others'. What a
// library has no calls for stays empty: its place in the table, too.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <type_traits>

#include "support/Bench.h"

namespace zvbench {

enum class Work { kLockPair, kSemaphorePair, kThreadLife, kWake, kTransfer, kSeekAndRead, kWalk };
constexpr size_t kWorkCount = 7;

// What all contestants are given.
struct Arena {
  const char *mFile;    // of some KiB, in memory
  const char *mFolder;  // with kWalkedFiles files, in memory
};

constexpr uint32 kTransferSize = 64;
constexpr uint32 kReadSize = 64;
constexpr uint32 kWalkedFiles = 10000;
constexpr char kPattern[] = "track-*.mp3";  // all of them match it

struct Entry {
  Loop mLoop;
  std::shared_ptr<const void> mKeep;  // what the loop uses
};

struct Contestant {
  const char *mName;
  const char *mLibraries;  // its files, parted by blanks; empty for the bare calls
  std::array<Entry (*)(const Arena &), kWorkCount> mWork;
};

extern const Contestant kBare, kOurs, kLibuv, kApr, kNspr;

// Two connected sockets on loopback, each closed by the pair.
class TcpPair {
 public:
  TcpPair();
  ~TcpPair();
  TcpPair(const TcpPair &) = delete;
  TcpPair &operator=(const TcpPair &) = delete;

  int Left() const { return mLeft; }
  int Right() const { return mRight; }

 private:
  int mLeft;
  int mRight;
};

// Work that is done in turns: an object that is made for it makes them. Some need to know where they are.
template <typename Player>
Entry Play(const Arena &anArena) {
  std::shared_ptr<Player> thePlayer;
  if constexpr (std::is_constructible_v<Player, const Arena &>) {
    thePlayer = std::make_shared<Player>(anArena);
  } else {
    thePlayer = std::make_shared<Player>();
  }
  return {Repeat([theTurns = thePlayer.get()] { return theTurns->Turn(); }), thePlayer};
}

}  // namespace zvbench
