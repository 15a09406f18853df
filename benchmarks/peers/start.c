// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A program that does nothing but need a library: what it costs to start with it. In C, so that it needs
// nothing of the C++ run-time library, which would load the unwinder for all of them.

int main(void) {
  return 0;
}
