// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Growable list of pointers.

#include <zvLog/zvPtrList.h>

struct zvPtrList {
  void **mElements;
  size_t mCount;
  size_t mCapacity;
  zvPtrListFreeFunc mFreeFunc;
};

namespace {

constexpr size_t kFirstCapacity = 8;

bool Grow(zvPtrList *aList) {
  const size_t theCapacity = aList->mCapacity > 0 ? aList->mCapacity * 2 : kFirstCapacity;
  void **theElements = static_cast<void **>(reallocarray(aList->mElements, theCapacity, sizeof(void *)));
  if (theElements == nullptr) return false;
  aList->mElements = theElements;
  aList->mCapacity = theCapacity;
  return true;
}

}  // namespace

extern "C" zvPtrList *zvPtrList_New(void) {
  return static_cast<zvPtrList *>(calloc(1, sizeof(zvPtrList)));
}

extern "C" int zvPtrList_Append(zvPtrList *aList, void *anElement) {
  if (aList == nullptr) return 0;
  if (aList->mCount == aList->mCapacity && !Grow(aList)) return 0;
  aList->mElements[aList->mCount++] = anElement;
  return 1;
}

extern "C" void zvPtrList_SetFreeFunc(zvPtrList *aList, zvPtrListFreeFunc aFreeFunc) {
  if (aList != nullptr) aList->mFreeFunc = aFreeFunc;
}

extern "C" size_t zvPtrList_GetCount(const zvPtrList *aList) {
  return aList != nullptr ? aList->mCount : 0;
}

extern "C" void *zvPtrList_Get(const zvPtrList *aList, size_t anIndex) {
  return anIndex < zvPtrList_GetCount(aList) ? aList->mElements[anIndex] : nullptr;
}

extern "C" void zvPtrList_Delete(zvPtrList *aList) {
  if (aList == nullptr) return;
  if (aList->mFreeFunc != nullptr) {
    for (size_t theIndex = 0; theIndex < aList->mCount; ++theIndex)
      aList->mFreeFunc(aList->mElements[theIndex]);
  }
  free(aList->mElements);
  free(aList);
}
