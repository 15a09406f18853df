#!/usr/bin/env bash
# A worker serves what the supervisor takes, another one takes its place, the name is held, and all end together.
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
# shellcheck source-path=SCRIPTDIR source=common.sh
. "$(dirname "$0")/common.sh"

# The number of the process that serves a connection, or nothing.
serving() {
  exec 3<>"/dev/tcp/127.0.0.1/$port"
  line=
  read -r -t 20 line <&3 || true
  exec 3<&- 3>&-
  sed -n 's/^process \([0-9]*\) at your service$/\1/p' <<<"$line"
}

arguments=("example-$$")
# The system does not start programs for another processor.
[ ${#emulator[@]} = 0 ] || arguments+=("exec ${emulator[*]} '$program' --worker")
start "${arguments[@]}"
await_port
first=$(serving)
[ -n "$first" ] && [ "$(serving)" = "$first" ] || fail "the worker does not serve two connections"
[ "$first" != "${started[0]}" ] || fail "the supervisor serves"

said=$("${emulator[@]}" "$program" "${arguments[@]}" 2>/dev/null) && fail "a second supervisor runs"
[ "$said" = "the name example-$$ cannot be had" ] || fail "the second supervisor says '$said'"

# What the worker had taken when it died is lost; what comes then is served.
kill -KILL "$first"
for _ in $(seq 50); do
  second=$(serving)
  [ -z "$second" ] || break
done
[ -n "$second" ] && [ "$second" != "$first" ] || fail "no other worker serves"
await 'the worker has ended'

kill -TERM "${started[0]}"
wait "${started[0]}" 2>/dev/null || true
for _ in $(seq 400); do [ -e "/proc/$second" ] || break; sleep 0.05; done
[ ! -e "/proc/$second" ] || fail "the worker outlives the supervisor"
echo "the supervisor does what it should"
