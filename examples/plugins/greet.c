/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A plug-in that does what it should. */

#include <string.h>

__attribute__((visibility("default"))) int Plugin_Run(const char *aName);

int Plugin_Run(const char *aName) {
  return strstr(aName, "greet") != NULL ? 42 : 0;
}
