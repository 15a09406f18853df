// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Random numbers from the kernel.

#include <zvLog/zvLog.h>

#include <sys/random.h>
#include <time.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

namespace {

uint32 RandomUInt32() {
  uint32 theNumber = 0;
  ssize_t theCount;
  do {
    theCount = getrandom(&theNumber, sizeof(theNumber), GRND_NONBLOCK);
  } while (theCount < 0 && errno == EINTR);
  if (theCount == static_cast<ssize_t>(sizeof(theNumber))) return theNumber;

  // Early after the start of a device the kernel has no randomness yet. Numbers that spread are
  // enough here, and better than waiting.
  timespec theTime = {};
  clock_gettime(CLOCK_MONOTONIC, &theTime);
  const uint64 theMix = (static_cast<uint64>(theTime.tv_nsec) << 20) ^ static_cast<uint64>(theTime.tv_sec) ^
                        (static_cast<uint64>(getpid()) << 40);
  return static_cast<uint32>((theMix * 0x9E3779B97F4A7C15u) >> 32);
}

}  // namespace

extern "C" uint16 zvRand_MinMaxUInt16(uint16 aMin, uint16 aMax) {
  if (aMin > aMax) std::swap(aMin, aMax);
  const uint32 theSpan = uint32{aMax} - aMin + 1u;
  // Numbers beyond the last whole multiple of the span would make the lower results more likely. There are
  // 2^32 numbers; what that leaves is reckoned in 32 bits, since small processors cannot divide 64.
  const uint32 theExcess = (UINT32_MAX % theSpan + 1) % theSpan;
  uint32 theNumber;
  do {
    theNumber = RandomUInt32();
  } while (theNumber > UINT32_MAX - theExcess);
  return static_cast<uint16>(aMin + theNumber % theSpan);
}
