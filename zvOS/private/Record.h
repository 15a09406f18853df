// Making and clearing the record behind a checked handle.
#pragma once

#include <zvOS/zvTypes.h>

#include <cstdlib>
#include <new>

namespace zvos {

// A new record with the given contents, magic first, or NULL when there is no memory. System
// objects begin as what their static initialiser makes, so that the record of a constructor that
// fails half-way can go through its Delete.
template <typename Record>
Record *NewRecord(const Record &anInitialRecord) {
  void *const theMemory = malloc(sizeof(Record));
  return theMemory == nullptr ? nullptr : new (theMemory) Record(anInitialRecord);
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
