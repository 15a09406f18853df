#!/usr/bin/env bash
# What one client says, the others hear, and nobody else; a policy refuses; a signal ends it. What is no policy does
# not open it to anybody.
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
# shellcheck source-path=SCRIPTDIR source=common.sh
. "$(dirname "$0")/common.sh"

# hears DESCRIPTOR TEXT
hears() {
  read -r -t 20 line <&"$1" || fail "nothing is heard, not '$2'"
  [ "$line" = "$2" ] || fail "'$line' is heard, not '$2'"
}

start
await_port
exec 3<>"/dev/tcp/127.0.0.1/$port"
await '1 here'
exec 4<>"/dev/tcp/127.0.0.1/$port"
await '2 here'
exec 5<>"/dev/tcp/127.0.0.1/$port"
await '3 here'
echo one >&3
hears 4 one
hears 5 one
echo two >&4
hears 3 two  # and not its own words
hears 5 two
exec 5<&- 5>&-
for _ in $(seq 400); do [ "$(tail -n 1 out)" != '2 here' ] || break; sleep 0.05; done
[ "$(tail -n 1 out)" = '2 here' ] || fail "it does not see that a client has gone"
kill -TERM "${started[0]}"
hears 3 bye
hears 4 bye
wait "${started[0]}" || fail "it does not end well"
await 'ended with 2 here'
grep -qE 'SOCKETTRACKER.*Listening  \((chat|zvSocket_GetTCPSocket 1)\)' err && grep -q 'SOCKETTRACKER.*Connected  (chat client)' err ||
  fail "the log does not show the table of sockets"
exec 3<&- 4<&-

start 2
await_port
exec 3<>"/dev/tcp/127.0.0.1/$port"
await refused
! read -r -t 20 line <&3 || fail "who is refused hears '$line'"
kill -INT "${started[1]}"
wait "${started[1]}" || fail "it does not end well"
await 'ended with 0 here'

for policy in foo '' 0 4 11 '2 ' -1; do refuses "$policy"; done
refuses 3 2
echo "the chat server does what it should"
