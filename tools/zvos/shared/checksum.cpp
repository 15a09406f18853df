// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A checksum is the remainder of the data, taken as a polynomial over bits, on division by a fixed
// polynomial. The remainder of two pieces in a row is therefore that of the first, times x to the
// count of bits in the second, plus that of the second; plus is exclusive or. Bits are kept in
// reversed order: the highest bit of a number is the coefficient of x to the power of 0.

#include "shared/checksum.h"

#include "shared/checksum_ways.h"

namespace tool {

namespace {

constexpr size_t kBytesPerRound = 16;

// Entry [i][b]: what the byte b contributes when i more bytes follow it.
struct Table {
  uint32 mEntries[kBytesPerRound][256];
};

constexpr Table MakeTable() {
  Table theTable = {};
  for (uint32 theByte = 0; theByte < 256; ++theByte) {
    uint32 theEntry = theByte;
    for (size_t thePlace = 0; thePlace < kBytesPerRound; ++thePlace) {
      for (int theBit = 0; theBit < 8; ++theBit)
        theEntry = TimesX(theEntry);
      theTable.mEntries[thePlace][theByte] = theEntry;
    }
  }
  return theTable;
}

constexpr Table kTable = MakeTable();

// The compiler makes it a single load where it can.
uint32 WordAt(const uint8 *aData) {
  return static_cast<uint32>(aData[0]) | static_cast<uint32>(aData[1]) << 8 |
         static_cast<uint32>(aData[2]) << 16 | static_cast<uint32>(aData[3]) << 24;
}

// Of four bytes behind the last of which so many more follow.
template <size_t kFollowing>
uint32 ContributionOfWord(uint32 aWord) {
  return kTable.mEntries[kFollowing + 3][aWord & 0xff] ^ kTable.mEntries[kFollowing + 2][aWord >> 8 & 0xff] ^
         kTable.mEntries[kFollowing + 1][aWord >> 16 & 0xff] ^ kTable.mEntries[kFollowing][aWord >> 24];
}

uint32 Multiply(uint32 aFactor, uint32 anotherFactor) {
  uint32 theProduct = 0;
  for (uint32 theBit = kOne; theBit != 0; theBit >>= 1) {
    if ((aFactor & theBit) != 0) theProduct ^= anotherFactor;
    anotherFactor = TimesX(anotherFactor);
  }
  return theProduct;
}

ContinueFunction FastestWay() {
  const ContinueFunction theWay = WayOfProcessor();
  return theWay != nullptr ? theWay : ContinueWithTables;
}

}  // namespace

uint32 ContinueWithTables(uint32 aChecksum, const void *aData, size_t aLength) {
  const uint8 *theData = static_cast<const uint8 *>(aData);
  uint32 theRest = ~aChecksum;
  for (; aLength >= kBytesPerRound; aLength -= kBytesPerRound, theData += kBytesPerRound) {
    theRest = ContributionOfWord<12>(WordAt(theData) ^ theRest) ^ ContributionOfWord<8>(WordAt(theData + 4)) ^
              ContributionOfWord<4>(WordAt(theData + 8)) ^ ContributionOfWord<0>(WordAt(theData + 12));
  }
  for (; aLength > 0; --aLength, ++theData) {
    theRest = kTable.mEntries[0][(theRest ^ *theData) & 0xff] ^ (theRest >> 8);
  }
  return ~theRest;
}

uint32 ContinueChecksum(uint32 aChecksum, const void *aData, size_t aLength) {
  static const ContinueFunction theWay = FastestWay();
  return theWay(aChecksum, aData, aLength);
}

uint32 ContributionOf(uint32 aPieceChecksum, uint64 aDistance) {
  uint32 theResult = aPieceChecksum;
  for (uint32 thePower = PowerOfX(8); aDistance != 0;
       aDistance >>= 1, thePower = Multiply(thePower, thePower)) {
    if ((aDistance & 1) != 0) theResult = Multiply(theResult, thePower);
  }
  return theResult;
}

}  // namespace tool
