/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

// Runs the library over the second provider: one message and one allocation must come from it.

#include <zvOS/zvMutex.h>
#include <zvOS/zvPath.h>

#include <stdio.h>
#include <string.h>

int main(void) {
  zvOSMutex *const theMutex = zvMutex_New();
  const int theStatus = zvMutex_Unlock(theMutex);
  zvMutex_Delete(theMutex);

  char *const thePath = zvPath_Normalize("a", 0, kzvPathNormalizeMode_Native, "/x/");
  const int afRight = thePath != NULL && strcmp(thePath, "/x/a") == 0;
  free(thePath);

  puts(theStatus == zvMutex_Status_Error && afRight ? "provider works" : "provider fails");
  return theStatus == zvMutex_Status_Error && afRight ? 0 : 1;
}
