/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* The header of directories alone, in C99. */

#include <zvOS/zvDir.h>

int ZvTestWalkFromC(const char *aDirPath);

/* The count of directories at the path; -1 when it cannot be told. */
int ZvTestWalkFromC(const char *aDirPath) {
  zvDirTraverser *theTraverser = zvDirTraverser_New(aDirPath);
  int theError = kzvDirTraverserStatus_Error;
  int theCount = 0;
  const zvDirEntry *theEntry = zvDirTraverser_GetFirst(theTraverser, "*", zvDIR_DIRS, &theError);
  for (; theEntry != NULL; theEntry = zvDirTraverser_GetNext(theTraverser, &theError))
    ++theCount;
  zvDirTraverser_Delete(theTraverser);
  return theError == kzvDirTraverserStatus_NoError ? theCount : -1;
}
