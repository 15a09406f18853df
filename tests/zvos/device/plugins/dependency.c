/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* What needy.c is linked with. Its name inside is not the name of its file, so that nobody finds it. */

int zvTestDependency_Answer(void);
int zvTestDependency_Answer(void) {
  return 42;
}
