#!/usr/bin/env bash
# The library's records and the program's own go through the program's functions. Where these cannot write, the program
# goes on.
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

# goes_on HOW COMMAND...
goes_on() {
  local how=$1 status=0
  shift
  "$@" || status=$?
  [ "$status" = 0 ] || fail "it ends with $status $how"
}
closed() { "${emulator[@]}" "$program" >&-; }
full() { "${emulator[@]}" "$program" >/dev/full; }
# Nobody reads any more when the program begins.
unread() {
  mkfifo fifo
  exec 8<>fifo 9>fifo 8<&-
  (trap - PIPE && exec "${emulator[@]}" "$program" >&9)
}
goes_on "without standard output" closed
goes_on "on a full device" full
goes_on "when nobody reads" unread
echo "the log provider does what it should"
