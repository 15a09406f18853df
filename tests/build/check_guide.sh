#!/usr/bin/env bash
# Builds the programs of the guide and runs the commands that it shows: they must print what it says, up to times, numbers
# of processes and lines of the source.
#
#   check_guide.sh BUILD_FOLDER SOURCE_FOLDER C_COMPILER C_FLAGS EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
build=$1 source=$2 compiler=$3 flags=$4
shift 4
work=$build/guide
rm -rf "$work"
mkdir -p "$work/programs"
cd "$work"

fail() {
  echo "FAILED: $*"
  exit 1
}

# Every block of C is a program; its first line is the name.
blocks=$(cat "$source"/docs/guide/*.md | grep -c '^```c$')
awk '/^```c$/ { getline; name = $2; inside = 1 } /^```$/ { inside = 0 } inside { print > name }' "$source"/docs/guide/*.md
[ "$(find . -maxdepth 1 -name '*.c' | wc -l)" = "$blocks" ] || fail "not every block of C is a program with a name"
for file in *.c; do
  name=${file%.c}
  # The flags are lists of words.
  # shellcheck disable=SC2086
  "$compiler" $flags -std=gnu99 -Wall -Wextra -Werror -I"$source/zvOS" -I"$source/zvLog" "$file" \
    -o "programs/$name" -L"$build/lib" -lzvOS -lzvLog -Wl,-rpath,"$build/lib" || fail "$file does not build"
  printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$*" "$work/programs/$name" >"$name"
  chmod +x "$name"
done

# What differs from run to run.
mask() {
  sed -E -e 's/^[0-9-]{10}T[0-9:.]+Z /TIME /' -e 's/\[[0-9]+:[0-9]+( [^]]*)?\] /[IDS] /' \
    -e 's# ([^ ]*/)?((zvOS|zvLog)/[A-Za-z_/.]+):[0-9]+: # \2: #'
}

# A command begins with "$", its output goes to the next one or to the end of the block.
awk '/^```text$/ { inside = 1; next } /^```$/ { inside = shown = 0 }
  inside && /^\$ / { ++count; shown = 1; print substr($0, 3) > ("command." count); printf "" > ("expected." count); next }
  shown { print > ("expected." count) }' "$source"/docs/guide/*.md
commands=$(find . -name 'command.*' | wc -l)
[ "$commands" -ge 6 ] || fail "the guide shows $commands commands only"
unset ZVLOG
# The guide shows numbers of descriptors: nothing that this script was started with shall take one.
for descriptor in /proc/self/fd/*; do
  number=${descriptor##*/}
  [ "$number" -le 2 ] || [ "$number" = 255 ] || eval "exec $number>&-"
done
export ZVOS_CRASH_DIR=$work
for number in $(seq "$commands"); do
  bash "command.$number" >"said.$number" 2>&1 || fail "'$(cat "command.$number")' failed:" "$(cat "said.$number")"
  difference=$(diff <(mask <"expected.$number") <(mask <"said.$number")) ||
    fail "'$(cat "command.$number")' prints something else than the guide says:" "$difference"
done
# What the crash left outside.
for file in zvos_crash_*.txt; do
  process=${file#zvos_crash_}
  rm -f "/tmp/backtrace_$process"
done
echo "the guide's $commands commands print what it says"
