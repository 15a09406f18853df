/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A plug-in that calls a function which nobody has. */

int zvTestPlugin_DefinedNowhere(void);

int zvTestPlugin_Call(void);
int zvTestPlugin_Call(void) {
  return zvTestPlugin_DefinedNowhere();
}
