/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A plug-in that crashes. */

__attribute__((visibility("default"))) int Plugin_Run(const char *aName);

int Plugin_Run(const char *aName) {
  volatile int *const theNowhere = (volatile int *)16;
  *theNowhere = aName[0];
  return *theNowhere;
}
