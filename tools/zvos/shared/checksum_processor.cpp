// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The checksum by instructions of the processor, which is asked for them when the program runs: on x86 the
// product of polynomials, on ARM the checksum itself.

#include "shared/checksum_ways.h"

// Clang cannot compile a single function for a newer ARM.
#if defined(__arm__) && !defined(__clang__)
#define TOOL_ON_ARM
#elif defined(__i386__) || defined(__x86_64__)
#define TOOL_ON_X86
#endif

#if defined(TOOL_ON_X86)
#include <emmintrin.h>
#include <wmmintrin.h>
#elif defined(TOOL_ON_ARM)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#include <cstring>
#endif

namespace tool {

#if defined(TOOL_ON_X86)

namespace {

#define TOOL_WITH_PRODUCTS __attribute__((target("sse2,pclmul")))

constexpr size_t kLane = 16;
constexpr size_t kLanes = 4;  // as many as the processor multiplies at a time, one behind the other
constexpr size_t kRound = kLane * kLanes;

// Takes a lane to the lane so many bytes behind it: its first eight bytes stand 64 bits higher than the other
// eight. A product of reversed numbers lacks one bit, which the factors make up for.
template <size_t kDistance>
TOOL_WITH_PRODUCTS __m128i Moved(__m128i aLane) {
  constexpr auto kFactor = [](unsigned anExponent) {
    return static_cast<long long>(PowerOfX(anExponent)) << 1;
  };
  constexpr long long kOfFirst = kFactor(8 * kDistance + 32);
  constexpr long long kOfSecond = kFactor(8 * kDistance - 32);
  const __m128i theFactors = _mm_set_epi64x(kOfSecond, kOfFirst);
  return _mm_xor_si128(_mm_clmulepi64_si128(aLane, theFactors, 0x00),
                       _mm_clmulepi64_si128(aLane, theFactors, 0x11));
}

TOOL_WITH_PRODUCTS __m128i LaneAt(const uint8 *aData) {
  return _mm_loadu_si128(static_cast<const __m128i *>(static_cast<const void *>(aData)));
}

// The data is shortened, lane by lane, to one lane with the same remainder, which the tables take.
TOOL_WITH_PRODUCTS uint32 ContinueWithProducts(uint32 aChecksum, const void *aData, size_t aLength) {
  if (aLength < kRound) return ContinueWithTables(aChecksum, aData, aLength);

  const uint8 *theData = static_cast<const uint8 *>(aData);
  __m128i theLanes[kLanes];
  for (size_t i = 0; i < kLanes; ++i)
    theLanes[i] = LaneAt(theData + i * kLane);
  theLanes[0] = _mm_xor_si128(theLanes[0], _mm_cvtsi32_si128(static_cast<int>(~aChecksum)));
  theData += kRound;
  aLength -= kRound;

  for (; aLength >= kRound; aLength -= kRound, theData += kRound) {
    for (size_t i = 0; i < kLanes; ++i)
      theLanes[i] = _mm_xor_si128(Moved<kRound>(theLanes[i]), LaneAt(theData + i * kLane));
  }
  __m128i theLane = theLanes[0];
  for (size_t i = 1; i < kLanes; ++i)
    theLane = _mm_xor_si128(Moved<kLane>(theLane), theLanes[i]);
  for (; aLength >= kLane; aLength -= kLane, theData += kLane)
    theLane = _mm_xor_si128(Moved<kLane>(theLane), LaneAt(theData));

  uint8 theBytes[kLane];
  _mm_storeu_si128(static_cast<__m128i *>(static_cast<void *>(theBytes)), theLane);
  constexpr uint32 kNothingBefore = 0xffffffff;
  return ContinueWithTables(ContinueWithTables(kNothingBefore, theBytes, kLane), theData, aLength);
}

}  // namespace

ContinueFunction WayOfProcessor() {
  return __builtin_cpu_supports("sse2") && __builtin_cpu_supports("pclmul") ? ContinueWithProducts : nullptr;
}

#elif defined(TOOL_ON_ARM)

namespace {

#define TOOL_WITH_CHECKSUMS __attribute__((target("arch=armv8-a+crc+simd")))

TOOL_WITH_CHECKSUMS uint32 ContinueWithInstructions(uint32 aChecksum, const void *aData, size_t aLength) {
  const uint8 *theData = static_cast<const uint8 *>(aData);
  uint32 theRest = ~aChecksum;
  for (; aLength >= sizeof(uint32); aLength -= sizeof(uint32), theData += sizeof(uint32)) {
    uint32 theWord;
    memcpy(&theWord, theData, sizeof(theWord));
    theRest = __builtin_arm_crc32w(theRest, theWord);
  }
  for (; aLength > 0; --aLength, ++theData)
    theRest = __builtin_arm_crc32b(theRest, *theData);
  return ~theRest;
}

}  // namespace

ContinueFunction WayOfProcessor() {
  return (getauxval(AT_HWCAP2) & HWCAP2_CRC32) != 0 ? ContinueWithInstructions : nullptr;
}

#else

ContinueFunction WayOfProcessor() {
  return nullptr;
}

#endif

}  // namespace tool
