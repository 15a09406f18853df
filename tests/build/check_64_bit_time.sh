#!/usr/bin/env bash
# A 32-bit caller compiled with 64-bit time is told so by the compiler, in C and in C++, and what to do;
# compiled as the library is, it compiles.
#
#   check_64_bit_time.sh SOURCE_FOLDER LOG_HEADERS C_COMPILER C_FLAGS CXX_COMPILER CXX_FLAGS
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -uo pipefail
source=$1 log=$2
declare -A compilers=([c]=$3 [c++]=$5) flags=([c]=$4 [c++]=$6)
declare -A standards=([c]="c99 c11 gnu17" [c++]="c++11 c++17")
sentence='zvSocketSelect waits with times of two longs: compile without -D_TIME_BITS=64'
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# compile LANGUAGE STANDARD OPTION...: a file that includes the header; what the compiler says is printed.
compile() {
  local language=$1 standard=$2
  shift 2
  # The flags are a list of words.
  # shellcheck disable=SC2086
  echo '#include <zvOS/zvSocketSelect.h>' |
    "${compilers[$language]}" ${flags[$language]} -x "$language" -std="$standard" -pedantic -Wall -Wextra -Werror \
      -I"$source/zvOS" -I"$log" -fsyntax-only "$@" - 2>&1
}

for language in c c++; do
  for standard in ${standards[$language]}; do
    for options in "" "-D_FILE_OFFSET_BITS=64"; do
      # shellcheck disable=SC2086
      said=$(compile "$language" "$standard" $options) ||
        fail "$standard with '$options' does not compile:" "$said"
    done
    said=$(compile "$language" "$standard" -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64) &&
      fail "$standard compiles with 64-bit time"
    grep -qF -e "$sentence" <<<"$said" || fail "$standard does not say '$sentence' but:" "$said"
  done
done

[ "$failures" = 0 ] && echo "callers with 64-bit time are told what to do"
exit "$failures"
