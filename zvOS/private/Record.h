// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Making, checking and clearing the record behind a handle.
#pragma once

#include "private/Failure.h"

#include <zvOS/zvMagicNumber.h>
#include <zvOS/zvTypes.h>

#include <cstddef>
#include <cstdlib>
#include <new>

// A hot function's operation on its handle. What asserts, and then carries on with the handle as it is, lies
// out of the way, and so do the registers that it would have the hot code save.
#define ZVOS_CHECKED(operation, handle, magic)                                                    \
  (ZV_UNLIKELY((handle) == nullptr || (handle)->_mMagicNumber != (magic)) ? zvos::OutOfLine([=] { \
    ZVMAGICNUMBER_CHECK(handle, magic);                                                           \
    return operation(zvos::AsGiven(handle));                                                      \
  })                                                                                              \
                                                                          : operation(handle))

namespace zvos {

// A handle that failed its check, of which nothing is concluded any more: it is used as it was given.
template <typename Record>
Record *AsGiven(Record *aHandle) {
  __asm__("" : "+r"(aHandle));
  return aHandle;
}

// A new record, or NULL when there is no memory. Its fields begin as their type says, system objects as what
// their static initialiser makes, so that the record of a constructor that fails half-way can go through its
// Delete.
template <typename Record, auto kAllocate = malloc>
Record *NewRecord() {
  void *const theMemory = kAllocate(sizeof(Record));
  return theMemory == nullptr ? nullptr : new (theMemory) Record{};
}

// Memory of malloc with so much behind aSize bytes that they share no line of the processor's cache with the
// next piece that is got in this way: threads that each use their own would slow each other down. A piece
// begins at a multiple of what malloc aligns to.
inline void *MallocApart(size_t aSize) {
  constexpr size_t kCacheLine = 64;
  constexpr size_t kAlignment = alignof(std::max_align_t);
  static_assert(kAlignment <= kCacheLine, "a line is not made of whole pieces");
  return malloc(aSize + kCacheLine - kAlignment);
}

// A new record that threads work on without a lock around it, or NULL.
template <typename Record>
Record *NewRecordApart() {
  return NewRecord<Record, MallocApart>();
}

// Releases a record and what its fields own.
template <typename Record>
void DeleteRecord(Record *aRecord) {
  aRecord->~Record();
  free(aRecord);
}

// Stores what a later use of a released record is to find. The store is volatile because the compiler
// drops a plain one that is followed by free().
template <typename Field>
void StoreBeforeRelease(Field *aField, Field aValue) {
  *const_cast<volatile Field *>(aField) = aValue;
}

// Makes a handle stale, so that a later use is noticed.
template <typename Record>
void ClearMagic(Record *aRecord) {
  StoreBeforeRelease<uint32>(&aRecord->_mMagicNumber, 0);
}

}  // namespace zvos
