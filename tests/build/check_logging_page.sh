#!/usr/bin/env bash
# Builds the programs of docs/logging.md and runs the commands that it shows: it must print what the page says, up to
# times, numbers of processes and lines of the source.
#
#   check_logging_page.sh BUILD_FOLDER SOURCE_FOLDER C_COMPILER C_FLAGS EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
build=$1 source=$2 compiler=$3 flags=$4
shift 4
page=$source/docs/logging.md
work=$build/logging-page
rm -rf "$work"
mkdir -p "$work/programs"
cd "$work"

fail() {
  echo "FAILED: $*"
  exit 1
}

# A program is a block of C whose first line is its name.
awk '/^```c$/ { getline; name = $2; inside = 1 } /^```$/ { inside = 0 } inside { print > name }' "$page"
# The provider is no program; who builds a program with it is check_variants.sh.
diff <(sed -n '/^\/\/ short_provider.c$/,$p' "$source/tests/provider/short_provider.c") short_provider.c ||
  fail "the provider of the page is not that of the tests"
rm short_provider.c
cp "$source/tests/build/receive_datagram.c" .
for file in *.c; do
  name=${file%.c}
  # The flags are lists of words.
  # shellcheck disable=SC2086
  "$compiler" $flags -std=gnu99 -Wall -Wextra -Werror -I"$source/zvOS" -I"$source/zvLog" "$file" \
    -o "programs/$name" -L"$build/lib" -lzvOS -lzvLog -Wl,-rpath,"$build/lib" || fail "$file does not build"
  printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$*" "$work/programs/$name" >"$name"
  chmod +x "$name"
done
[ "$(ls programs | wc -l)" = 6 ] || fail "the page has not five programs"

# What differs from run to run.
mask() {
  sed -E -e 's/^[0-9-]{10}T[0-9:.]+Z /TIME /' -e 's/\[[0-9]+:[0-9]+( [^]]*)?\] /[IDS] /' -e 's/\[[0-9]+\]:/[ID]:/' \
    -e 's# [./]*([A-Za-z_/.]+):[0-9]+: # \1: #'
}

# A command begins with "$", its output goes to the next one or to the end of the block.
awk '/^```text$/ { inside = 1; next } /^```$/ { inside = 0 }
  inside && /^\$ / { ++count; print substr($0, 3) > ("command." count); printf "" > ("expected." count); next }
  inside { print > ("expected." count) }' "$page"
commands=$(ls command.* | wc -l)
[ "$commands" = 6 ] || fail "the page has $commands commands, not six"
unset ZVLOG
# The page shows numbers of descriptors: nothing that this script was started with shall take one.
for descriptor in /proc/self/fd/*; do
  number=${descriptor##*/}
  [ "$number" -le 2 ] || [ "$number" = 255 ] || eval "exec $number>&-"
done
for number in $(seq "$commands"); do
  bash "command.$number" >"said.$number" 2>&1 || fail "'$(cat "command.$number")' failed:" "$(cat "said.$number")"
  difference=$(diff <(mask <"expected.$number") <(mask <"said.$number")) ||
    fail "'$(cat "command.$number")' prints something else than the page says:" "$difference"
done

# What the journal would get.
received=$(./receive_datagram "$work/socket" ./sink_journal "$work/socket" | tr '\0' '0')
expected=$(printf 'SYSLOG_IDENTIFIER=player\nPRIORITY=4\nZVLOG_MODULE=42\nTID=N\nCODE_LINE=N\nCODE_FILE=%s\n%s\n%s%s\n' \
  sink_journal.c MESSAGE $'\x15'0000000 '3 songs are missing')
expected=${expected/$'\x15'/$'\x13'}
[ "$(sed -E 's/^(TID|CODE_LINE)=[0-9]+$/\1=N/' <<<"$received")" = "$expected" ] ||
  fail "the journal would get" "$(cat -v <<<"$received")"
echo "the page's $commands commands print what it says"
