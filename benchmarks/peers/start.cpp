// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A program that does nothing but need a library: what it costs to start with it.

int main() {
  return 0;
}
