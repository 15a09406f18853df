// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A checksum is the remainder of the data, taken as a polynomial over bits, on division by a fixed
// polynomial. The remainder of two pieces in a row is therefore that of the first, times x to the
// count of bits in the second, plus that of the second; plus is exclusive or. Bits are kept in
// reversed order: the highest bit of a number is the coefficient of x to the power of 0.

#include "shared/checksum.h"

namespace tool {

namespace {

constexpr uint32 kPolynomial = 0xEDB88320;
constexpr uint32 kOne = 0x80000000;      // x to the power of 0
constexpr uint32 kOneByte = 0x00800000;  // x to the power of 8
constexpr size_t kBytesPerRound = 8;

// Entry [i][b]: what the byte b contributes when i more bytes follow it.
struct Table {
  uint32 mEntries[kBytesPerRound][256];
};

constexpr uint32 TimesX(uint32 aNumber) {
  return (aNumber & 1) != 0 ? (aNumber >> 1) ^ kPolynomial : aNumber >> 1;
}

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

uint32 Multiply(uint32 aFactor, uint32 anotherFactor) {
  uint32 theProduct = 0;
  for (uint32 theBit = kOne; theBit != 0; theBit >>= 1) {
    if ((aFactor & theBit) != 0) theProduct ^= anotherFactor;
    anotherFactor = TimesX(anotherFactor);
  }
  return theProduct;
}

}  // namespace

uint32 ContinueChecksum(uint32 aChecksum, const void *aData, size_t aLength) {
  const uint8 *theData = static_cast<const uint8 *>(aData);
  uint32 theRest = ~aChecksum;
  for (; aLength >= kBytesPerRound; aLength -= kBytesPerRound, theData += kBytesPerRound) {
    const uint32 theSum = theRest;
    theRest = 0;
    for (size_t i = 0; i < 4; ++i) {
      theRest ^= kTable.mEntries[7 - i][(theData[i] ^ (theSum >> (8 * i))) & 0xff];
    }
    for (size_t i = 4; i < kBytesPerRound; ++i)
      theRest ^= kTable.mEntries[7 - i][theData[i]];
  }
  for (; aLength > 0; --aLength, ++theData) {
    theRest = kTable.mEntries[0][(theRest ^ *theData) & 0xff] ^ (theRest >> 8);
  }
  return ~theRest;
}

uint32 ContributionOf(uint32 aPieceChecksum, uint64 aDistance) {
  uint32 theResult = aPieceChecksum;
  for (uint32 thePower = kOneByte; aDistance != 0; aDistance >>= 1, thePower = Multiply(thePower, thePower)) {
    if ((aDistance & 1) != 0) theResult = Multiply(theResult, thePower);
  }
  return theResult;
}

}  // namespace tool
