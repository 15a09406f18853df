#!/usr/bin/env bash
# A program that uses all of the C++ interface runs, and needs no C++ library.
#
#   check_without_runtime.sh READELF PROGRAM EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
readelf=$1 program=$2
shift 2

needs=$("$readelf" -d "$program" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
grep -q 'libzvOS' <<<"$needs" || { echo "FAILED: the program does not use the library"; exit 1; }
others=$(grep -vE '^(libzvOS|libzvLog|libc|libgcc_s|ld-linux[-a-z]*|libpthread)\.so\.[0-9]+$' <<<"$needs" || true)
[ -z "$others" ] || { echo "FAILED: the program needs $others"; exit 1; }
"$@" "$program" || { echo "FAILED: the program ends with $?"; exit 1; }
echo "a C++ program needs the C library only"
