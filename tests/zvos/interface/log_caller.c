/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A caller of the log macros in C99; the rest of the tests are callers in C++11. */

#include <zvOS/zvDefines.h>

ZVLOG_WITH_MODULE_IF(FILE, 1)

int zvtest_LogFromC(int aNumber);

/* What the macro answers that tells whether a debug message would be emitted. */
int zvtest_LogFromC(int aNumber) {
  ZV_WARN(F("from C: %d\n", aNumber));
  return ZVLOG_WILL_LOG(ZVLOGLEVEL_DEBUG, ZVLOG_M_FILE);
}
