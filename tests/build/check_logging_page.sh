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
mkdir -p "$work"
cd "$work"

. "$source/tests/build/pages.sh"

write_programs . "$page"
# The provider is no program; who builds a program with it is check_variants.sh.
diff <(sed -n '/^\/\/ short_provider.c$/,$p' "$source/tests/provider/short_provider.c") short_provider.c ||
  fail "the provider of the page is not that of the tests"
rm short_provider.c
cp "$source/tests/build/receive_datagram.c" .
build_programs "$build" "$source" "$compiler" "$flags" "$@"
[ "$(find programs -type f | wc -l)" = 6 ] || fail "the page and its receiver are not six programs"

write_commands "$page"
[ "$commands" = 6 ] || fail "the page has $commands commands, not six"
replay_commands

# What the journal would get.
received=$(./receive_datagram "$work/socket" ./sink_journal "$work/socket" | tr '\0' '0')
expected=$(printf 'SYSLOG_IDENTIFIER=player\nPRIORITY=4\nZVLOG_MODULE=42\nTID=N\nCODE_LINE=N\nCODE_FILE=%s\n%s\n%s%s\n' \
  sink_journal.c MESSAGE $'\x15'0000000 '3 songs are missing')
expected=${expected/$'\x15'/$'\x13'}
[ "$(sed -E 's/^(TID|CODE_LINE)=[0-9]+$/\1=N/' <<<"$received")" = "$expected" ] ||
  fail "the journal would get" "$(cat -v <<<"$received")"
echo "the page's $commands commands print what it says"
