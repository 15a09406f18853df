#!/usr/bin/env bash
# The library's records and the program's own go through the program's functions.
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
# shellcheck source-path=SCRIPTDIR source=common.sh
. "$(dirname "$0")/common.sh"

ZVLOG=debug start
wait "${started[0]}" || fail "it does not end well"
says() {
  grep -qE "^\{$1\}\$" out || fail "it does not say $1"
}
place='"file":"[^"]*","line":[0-9]+'
says "\"level\":3,\"module\":1000,$place,\"text\":\"a record of the program's own, with \\\\\"quotes\\\\\"\""
says "\"level\":1,\"module\":42,$place,\"text\":\"zvFile: .*/nowhere/at all.*\""
says "\"level\":1,\"module\":7,$place,\"text\":\"zvOSMutex: unlock failed because not held by caller\""
says "\"level\":1,\"module\":0,$place,\"text\":\"assertion failed: .*\""
[ "$(wc -l <out)" = 4 ] || fail "it says more than four records"
[ ! -s err ] || fail "another log speaks too"
echo "the log provider does what it should"
