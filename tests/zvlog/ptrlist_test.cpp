// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The growable list of pointers.

#include "Allocation.h"

#include <gtest/gtest.h>

#include <zvLog/zvPtrList.h>

#include <cstring>
#include <vector>

namespace {

using namespace zvlogtest;

std::vector<void *> gFreed;

void RememberFreed(void *anElement) {
  gFreed.push_back(anElement);
}

TEST(PtrList, KeepsElementsInOrder) {
  int theNumbers[1000];
  zvPtrList *theList = zvPtrList_New();
  ASSERT_NE(nullptr, theList);
  EXPECT_EQ(0u, zvPtrList_GetCount(theList));
  for (int &theNumber : theNumbers)
    ASSERT_EQ(1, zvPtrList_Append(theList, &theNumber));
  ASSERT_EQ(1000u, zvPtrList_GetCount(theList));
  for (size_t theIndex = 0; theIndex < 1000; ++theIndex) {
    ASSERT_EQ(&theNumbers[theIndex], zvPtrList_Get(theList, theIndex));
  }
  EXPECT_EQ(nullptr, zvPtrList_Get(theList, 1000));
  zvPtrList_Delete(theList);
}

TEST(PtrList, ReleasesNothingByDefault) {
  int theNumber = 0;
  zvPtrList *theList = zvPtrList_New();
  zvPtrList_Append(theList, &theNumber);
  zvPtrList_Delete(theList);
}

TEST(PtrList, ReleasesEachElementOnceWithItsFreeFunction) {
  int theNumbers[3];
  gFreed.clear();
  zvPtrList *theList = zvPtrList_New();
  for (int &theNumber : theNumbers)
    zvPtrList_Append(theList, &theNumber);
  zvPtrList_Append(theList, nullptr);
  zvPtrList_SetFreeFunc(theList, RememberFreed);
  EXPECT_TRUE(gFreed.empty());
  zvPtrList_Delete(theList);
  EXPECT_EQ((std::vector<void *>{&theNumbers[0], &theNumbers[1], &theNumbers[2], nullptr}), gFreed);
}

TEST(PtrList, DefaultFreeFunctionReleasesHeapMemory) {
  const long theBefore = LiveAllocations();
  zvPtrList *theList = zvPtrList_New();
  zvPtrList_SetFreeFunc(theList, kzvPtrList_DefaultFreeFunc);
  zvPtrList_Append(theList, strdup("a sanitizer sees it when it is not released"));
  zvPtrList_Delete(theList);
  EXPECT_EQ(theBefore, LiveAllocations());
}

TEST(PtrList, NullIsNoList) {
  EXPECT_EQ(0, zvPtrList_Append(nullptr, nullptr));
  EXPECT_EQ(0u, zvPtrList_GetCount(nullptr));
  EXPECT_EQ(nullptr, zvPtrList_Get(nullptr, 0));
  zvPtrList_SetFreeFunc(nullptr, RememberFreed);
  zvPtrList_Delete(nullptr);
}

TEST(PtrList, SurvivesAFailedAllocation) {
  if (!CanFailAllocations()) GTEST_SKIP() << "allocations cannot be made to fail under a sanitizer";
  {
    const FailingAllocation theFailure(0);
    EXPECT_EQ(nullptr, zvPtrList_New());
  }
  int theNumber = 0;
  zvPtrList *theList = zvPtrList_New();
  for (int theRound = 0; theRound < 100; ++theRound) {
    const size_t theCount = zvPtrList_GetCount(theList);
    const FailingAllocation theFailure(0);
    const int theResult = zvPtrList_Append(theList, &theNumber);
    EXPECT_EQ(theFailure.HasFailed() ? 0 : 1, theResult);
    EXPECT_EQ(theCount + static_cast<size_t>(theResult), zvPtrList_GetCount(theList));
    if (theFailure.HasFailed()) break;
  }
  EXPECT_EQ(1, zvPtrList_Append(theList, &theNumber));
  zvPtrList_Delete(theList);
}

}  // namespace
