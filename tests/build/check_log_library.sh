#!/usr/bin/env bash
# Checks that the log library stays small and in C.
#
#   check_log_library.sh READELF NM STRIP LIBRARY SIZE_LIMIT CXX_RUNTIME_LIBRARY
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -uo pipefail
readelf=$1 nm=$2 strip=$3 library=$4 size_limit=$5 runtime_library=$6
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

# Every thread that is ever started has it.
segment=$("$readelf" -lW "$library" | awk '$1 == "TLS" { print $6 }')
[ -n "$segment" ] || fail "$library has no thread-local memory, or readelf writes it another way"
thread_local=$((segment))
echo "$thread_local bytes of thread-local memory"
[ "$thread_local" -le 2048 ] || fail "$library has $thread_local bytes of thread-local memory, more than 2048"

# The C library, and the loader where that is a library of its own.
needed=$("$readelf" -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
grep -qx 'libc.so.6' <<<"$needed" || fail "$library does not need the C library"
others=$(grep -vx 'libc\.so\.6\|ld-linux.*\.so\.[0-9]*' <<<"$needed")
[ -z "$others" ] || fail "$library needs" $others

# Nothing of the C++ run-time library, imported or linked in: of the names that it exports the library has none.
# What its headers alone are made into has other names. What is needed weakly is not needed: libgcc does so on ARM.
symbols=$("$nm" "$library" | awk '$(NF-1) != "w" {print $NF}' | sed 's/@.*//' | sort -u)
grep -qx 'zvLog_Begin' <<<"$symbols" || fail "$library has no symbols to look at"
runtime=$("$nm" -D --defined-only "$runtime_library" | awk '{print $NF}' | sed 's/@.*//' | sort -u)
grep -qx '__cxa_throw' <<<"$runtime" || fail "$runtime_library is not the C++ run-time library"
cxx=$(comm -12 <(echo "$symbols") <(echo "$runtime"))
[ -z "$cxx" ] || fail "$library contains parts of the C++ run-time library:" $cxx

[ "$failures" = 0 ] && echo "the log library is as small as promised"
exit "$failures"
