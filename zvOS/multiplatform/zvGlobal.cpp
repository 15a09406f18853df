// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Named pointers in the environment of the process. Set stores under a name of this process, Get reads
// the plain one, which callers who share values put there themselves.

#include <zvOS/zvGlobal.h>
#include <zvOS/zvLogFunctions.h>
#include <zvOS/zvPlatform.h>
#include <zvOS/zvThread.h>

#include "private/Failure.h"
#include "private/Owner.h"

#include <cstring>

using zvos::Owner;
using zvos::TextOrNull;

namespace {

// Room for a dot, the process id and the suffix, with the terminator.
constexpr size_t kDecorationSize = 31;
constexpr size_t kPointerTextSize = 40;

// NULL without a name or without memory.
Owner<char> zvGlobal_GetVariableName(const char *aName) {
  if (aName == nullptr) return Owner<char>();
  const size_t theSize = strlen(aName) + kDecorationSize;
  Owner<char> theName(static_cast<char *>(zvMalloc(theSize)));
  if (theName) {
    zv_snprintf(theName.get(), theSize, "%s.%lu" kzvGlobalVariableSuffix, aName,
                static_cast<unsigned long>(zvThread_GetPID()));
  }
  return theName;
}

}  // namespace

extern "C" void zvGlobal_SetPtr(const char *aName, void *aValue) {
  const Owner<char> theVariable = zvGlobal_GetVariableName(aName);
  char theValue[kPointerTextSize];
  zv_snprintf(theValue, sizeof(theValue), "%p", aValue);
  if (zvPlatform_setenv(theVariable.get(), theValue) != 0) {
    Log_Error("zvGlobal_SetVariable: Cannot store global variable '%s' (cannot set environment '%s')\n",
              TextOrNull(aName), TextOrNull(theVariable.get()));
  }
}

extern "C" void *zvGlobal_GetPtr(const char *aName) {
  const Owner<char> theText(zvPlatform_getenv(aName));
  void *theValue = nullptr;
  if (!theText || zvConvert_strtoptr(theText.get(), &theValue) != kzvConvertError_None) {
    const Owner<char> theVariable = zvGlobal_GetVariableName(aName);
    Log_Warning("zvGlobal_GetVariable: Cannot get global variable '%s' (cannot get environment '%s')\n",
                TextOrNull(aName), TextOrNull(theVariable.get()));
    return nullptr;
  }
  return theValue;
}

extern "C" void zvGlobal_SetFunctionPtr(const char *aName, zvDefaultFunctionPtr aValue) {
  zvGlobal_SetPtr(aName, reinterpret_cast<void *>(aValue));
}

extern "C" zvDefaultFunctionPtr zvGlobal_GetFunctionPtr(const char *aName) {
  return reinterpret_cast<zvDefaultFunctionPtr>(zvGlobal_GetPtr(aName));
}
