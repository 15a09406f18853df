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
mkdir -p "$work"
cd "$work"

. "$source/tests/build/pages.sh"

# Every block of C is a program; its first line is the name.
blocks=$(cat "$source"/docs/guide/*.md | grep -c '^```c$')
write_programs . "$source"/docs/guide/*.md
[ "$(find . -maxdepth 1 -name '*.c' | wc -l)" = "$blocks" ] || fail "not every block of C is a program with a name"
build_programs "$build" "$source" "$compiler" "$flags" "$@"

write_commands "$source"/docs/guide/*.md
[ "$commands" -ge 6 ] || fail "the guide shows $commands commands only"
export ZVOS_CRASH_DIR=$work
replay_commands
# What the crash left outside.
for file in zvos_crash_*.txt; do
  process=${file#zvos_crash_}
  rm -f "/tmp/backtrace_$process"
done
echo "the guide's $commands commands print what it says"
