// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Texts of records are formatted as printf does it.

#include "LogTest.h"

#include <climits>
#include <cstdio>

namespace {

using namespace zvlogtest;

class Format : public LogTest {
 protected:
  CaughtStandardError mError;

// The formats are in the tests, where no compiler looks at them: some are wrong on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  void ExpectAsPrintf(const char *aFormat, ...) {
    va_list theArguments;
    va_start(theArguments, aFormat);
    char theExpected[1000];
    va_list theCopy;
    va_copy(theCopy, theArguments);
    vsnprintf(theExpected, sizeof(theExpected), aFormat, theCopy);
    va_end(theCopy);
    zvLogData *theData = zvLog_Begin(kzvLogLevel_Error, 0);
    zvLog_Append_VF(aFormat, theArguments);
    zvLog_End(theData);
    va_end(theArguments);
    const std::vector<std::string> theWrites = mError.Writes();
    ASSERT_EQ(1u, theWrites.size());
    EXPECT_EQ(theExpected, Parse(theWrites[0]).mText) << "of '" << aFormat << "'";
  }
#pragma GCC diagnostic pop
};

TEST_F(Format, OfIntegersIsThatOfPrintf) {
  for (const char *theFlags : {"", "-", "0", "-0", "00", "+", " ", "#", "'"}) {
    for (const char *theWidth : {"", "1", "2", "5", "20", "40", ".0", ".3", "8.3"}) {
      const std::string theBegin = std::string("<%") + theFlags + theWidth;
      for (const char *theKind : {"d", "i", "u", "x", "X", "o"}) {
        for (const int theNumber : {0, 1, -1, 9, 10, 4711, INT_MAX, INT_MIN}) {
          ExpectAsPrintf((theBegin + theKind + ">").c_str(), theNumber);
          ExpectAsPrintf((theBegin + "hh" + theKind + ">").c_str(), theNumber);
          ExpectAsPrintf((theBegin + "l" + theKind + ">").c_str(), static_cast<long>(theNumber));
          ExpectAsPrintf((theBegin + "z" + theKind + ">").c_str(), static_cast<ssize_t>(theNumber));
          ExpectAsPrintf((theBegin + "ll" + theKind + ">").c_str(), static_cast<long long>(theNumber));
        }
        for (const long long theNumber : {LLONG_MAX, LLONG_MIN, 1234567890123456789LL, 4294967296LL})
          ExpectAsPrintf((theBegin + "ll" + theKind + ">").c_str(), theNumber);
      }
    }
  }
}

TEST_F(Format, OfTextsIsThatOfPrintf) {
  for (const char *theFlags : {"", "-", "0"}) {
    for (const char *theWidth :
         {"", "1", "5", "40", ".0", ".", ".1", ".3", ".5", ".6", ".40", "8.3", "-8.3"}) {
      const std::string theBegin = std::string("<%") + theFlags + theWidth;
      for (const char *theText : {"", "a", "abc", "abcdefgh", static_cast<const char *>(nullptr)})
        ExpectAsPrintf((theBegin + "s>").c_str(), theText);
      ExpectAsPrintf((theBegin + "ls>").c_str(), L"wide");
    }
  }
}

TEST_F(Format, OfCharactersAndPointersIsThatOfPrintf) {
  int theObject = 0;
  for (const char *theBegin : {"<%", "<%1", "<%-1", "<%6", "<%-6", "<%30", "<%-30"}) {
    for (const int theChar : {int{'a'}, int{'%'}, 0xe4})
      ExpectAsPrintf((std::string(theBegin) + "c>").c_str(), theChar);
    for (void *thePointer :
         {static_cast<void *>(nullptr), static_cast<void *>(&theObject), reinterpret_cast<void *>(1)})
      ExpectAsPrintf((std::string(theBegin) + "p>").c_str(), thePointer);
  }
}

TEST_F(Format, WithWidthAndPrecisionAmongTheArgumentsIsThatOfPrintf) {
  for (const int theFirst : {0, 1, 7, -7, 30}) {
    ExpectAsPrintf("<%*d>", theFirst, 12);
    ExpectAsPrintf("<%-*d>", theFirst, -12);
    ExpectAsPrintf("<%0*x>", theFirst, 12);
    for (const int theSecond : {0, 1, 3, 30, -1, -2, -30}) {
      ExpectAsPrintf("<%.*s>", theSecond, "abcdef");
      ExpectAsPrintf("<%*.*s>", theFirst, theSecond, "abcdef");
      ExpectAsPrintf("<%*.*d>", theFirst, theSecond, 15);
    }
  }
}

TEST_F(Format, OfSeveralConversionsIsThatOfPrintf) {
  ExpectAsPrintf("no conversion");
  ExpectAsPrintf("%%");
  ExpectAsPrintf("100%% of %s: %d, %5u|%-5u|%05u and %c%c %lu %p %zu %lld%%", "it", -1, 2u, 3u, 4u, 'x', 'y',
                 5ul, nullptr, size_t{6}, 7LL);
  ExpectAsPrintf("%s %g %s", "left", 0.5, "to the C library");
  ExpectAsPrintf("%2$s %1$s", "in another", "order");
  ExpectAsPrintf("%s %m %d", "with the error", 1);
}

}  // namespace
