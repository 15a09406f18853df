// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The same as use.c, by a lambda.

#include <zvOS/zvMutex.h>
#include <zvOS/zvThread.h>

#include <iostream>

int main() {
  zvOSMutex *const theMutex = zvMutex_New();
  const auto theWork = [](void *aMutex) {
    if (zvMutex_Unlock(static_cast<zvOSMutex *>(aMutex)) == zvMutex_Status_Error)
      std::cout << "at work" << std::endl;
  };
  zvOSThread_Data theData = {
      theWork, nullptr, theMutex, 0, zvThread_Kind_Joinable, zvThread_Scheduling_Default};
  zvOSThread *const theThread = zvThread_New(&theData);
  if (theThread == nullptr) return 1;
  zvThread_Run(theThread);
  zvThread_Wait(theThread);
  zvThread_Delete(theThread);
  zvMutex_Delete(theMutex);
}
