#!/usr/bin/env bash
# Checks that the log library stays small and in C.
#
#   check_log_library.sh READELF NM STRIP LIBRARY SIZE_LIMIT
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -uo pipefail
readelf=$1 nm=$2 strip=$3 library=$4 size_limit=$5
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# What is installed: without debug information. The limit is for 32-bit x86; 0 stands for none.
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"$strip" -o "$stripped" "$library" || fail "cannot strip $library"
size=$(stat -c %s "$stripped")
echo "$size bytes stripped"
[ "$size" -gt 4096 ] || fail "$library has $size bytes, which is nothing"
[ "$size_limit" = 0 ] || [ "$size" -le "$size_limit" ] || fail "$library has $size bytes, more than $size_limit"

# The C library, and the loader where that is a library of its own.
needed=$("$readelf" -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
grep -qx 'libc.so.6' <<<"$needed" || fail "$library does not need the C library"
others=$(grep -vx 'libc\.so\.6\|ld-linux.*\.so\.[0-9]*' <<<"$needed")
[ -z "$others" ] || fail "$library needs" $others

# Nothing of the C++ run-time library, imported or linked in. __cxa_finalize is the C library's.
symbols=$("$nm" "$library" | awk '{print $NF}')
grep -qx 'zvLog_Begin' <<<"$symbols" || fail "$library has no symbols to look at"
cxx=$(grep -E '^(_ZNS|_ZNKS|_ZS|_ZT[ISV]|_Zn|_Zd|__cxa_|__gxx_)' <<<"$symbols" | grep -v '^__cxa_finalize')
[ -z "$cxx" ] || fail "$library contains parts of the C++ run-time library:" $cxx

[ "$failures" = 0 ] && echo "the log library is as small as promised"
exit "$failures"
