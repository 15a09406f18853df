// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Reading pointers from text.

#include <gtest/gtest.h>

#include <zvLog/zvLog.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace {

void *const kUntouched = reinterpret_cast<void *>(uintptr_t{0x5a5a});

void ExpectFailure(int anError, const char *aText) {
  void *thePointer = kUntouched;
  EXPECT_EQ(anError, zvConvert_strtoptr(aText, &thePointer)) << (aText != nullptr ? aText : "NULL");
  EXPECT_EQ(kUntouched, thePointer) << aText;
}

TEST(Convert, ReadsWhatPrintfWrites) {
  for (const uintptr_t theAddress :
       {uintptr_t{0}, uintptr_t{1}, uintptr_t{0xabcdef}, UINTPTR_MAX / 2, UINTPTR_MAX}) {
    void *theExpected = reinterpret_cast<void *>(theAddress);
    char theText[64];
    snprintf(theText, sizeof(theText), "%p", theExpected);
    void *thePointer = kUntouched;
    EXPECT_EQ(kzvConvertError_None, zvConvert_strtoptr(theText, &thePointer)) << theText;
    EXPECT_EQ(theExpected, thePointer) << theText;
  }
}

TEST(Convert, AcceptsUpperCaseAndLeadingZeros) {
  void *thePointer = nullptr;
  EXPECT_EQ(kzvConvertError_None, zvConvert_strtoptr("0XAB", &thePointer));
  EXPECT_EQ(reinterpret_cast<void *>(uintptr_t{0xab}), thePointer);
  EXPECT_EQ(kzvConvertError_None, zvConvert_strtoptr("0x0000000000000000000000000001", &thePointer));
  EXPECT_EQ(reinterpret_cast<void *>(uintptr_t{1}), thePointer);
}

TEST(Convert, JunkIsInvalid) {
  for (const char *theText : {"", " ", "0x", "0xg", "0x1 ", " 0x1", "0x1,", "x1", "12", "(null)", "(nil) ",
                              "-", "-x", "--1", "+0x1", "0x-1", "0xffffffffffffffffffffz"}) {
    ExpectFailure(kzvConvertError_Invalid, theText);
  }
}

TEST(Convert, NullIsInvalid) {
  ExpectFailure(kzvConvertError_Invalid, nullptr);
  EXPECT_EQ(kzvConvertError_Invalid, zvConvert_strtoptr("0x1", nullptr));
}

TEST(Convert, BeyondTheAddressesIsTooHigh) {
  std::string theText = "0x1" + std::string(sizeof(void *) * 2, '0');
  ExpectFailure(kzvConvertError_RangeHigh, theText.c_str());
  theText = "0x" + std::string(40, 'f');
  ExpectFailure(kzvConvertError_RangeHigh, theText.c_str());
}

TEST(Convert, NegativeIsTooLow) {
  for (const char *theText : {"-1", "-0x1", "-99999999999999999999999"}) {
    ExpectFailure(kzvConvertError_RangeLow, theText);
  }
}

}  // namespace
