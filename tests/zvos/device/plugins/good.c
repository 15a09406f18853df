/* SPDX-FileCopyrightText: 2026 the libzvOS authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A plug-in as it should be: a function, data, a name without a value, and a farewell. */

int zvTestPlugin_Double(int aNumber);
int zvTestPlugin_Double(int aNumber) {
  return 2 * aNumber;
}

extern int zvTestPlugin_Number;
int zvTestPlugin_Number = 4711;

/* Set by the program that loads the plug-in; counts loading and unloading. */
extern int *zvTestPlugin_Farewells;
int *zvTestPlugin_Farewells = 0;

/* Nothing is at this name: its value is NULL. */
__asm__(".globl zvTestPlugin_Nothing\n.set zvTestPlugin_Nothing, 0\n");

__attribute__((destructor)) static void SayFarewell(void) {
  if (zvTestPlugin_Farewells != 0) ++*zvTestPlugin_Farewells;
}
