/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A plug-in that needs a library which is not there. */

int zvTestDependency_Answer(void);

int zvTestPlugin_Ask(void);
int zvTestPlugin_Ask(void) {
  return zvTestDependency_Answer();
}
