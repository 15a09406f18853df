#!/usr/bin/env bash
# A worker serves what the supervisor takes, another one takes its place, the name is held, and all end together. Where
# no worker can be had, the supervisor ends.
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

# ends_badly ARGUMENT...: the program ends by itself, with 1.
ends_badly() {
  local status=0
  timeout 20 "${emulator[@]}" "$program" "$@" >out 2>err || status=$?
  [ "$status" = 1 ] || fail "with '$*' it ends with $status, not with 1"
}

arguments=("example-$$")
worker="exec ${emulator[*]} '$program' --worker"
# The system does not start programs for another processor.
[ ${#emulator[@]} = 0 ] || arguments+=("$worker")
ZVLOG=SOCKETTRACKER=debug start "${arguments[@]}"
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
grep -q 'SOCKETTRACKER.*Connected' err && ! grep -q 'Assertion failed' err ||
  fail "a connection that was handed on stays in the table of sockets"

kill -TERM "${started[0]}"
wait "${started[0]}" 2>/dev/null || true
for _ in $(seq 400); do [ -e "/proc/$second" ] || break; sleep 0.05; done
[ ! -e "/proc/$second" ] || fail "the worker outlives the supervisor"

# A worker that dies before it is ready is replaced, but not for ever.
start "late-$$" "echo >>late; [ \"\$(wc -l <late)\" = 3 ] || exit 1; $worker"
await_port
[ -n "$(serving)" ] || fail "two workers that died keep the third from serving"
kill -TERM "${started[1]}"
ends_badly "dying-$$" 'echo >>dying; false'
[ "$(tail -n 1 out)" = 'three workers have ended before they were ready' ] || fail "it does not say why it ends"
[ "$(wc -l <dying)" = 3 ] || fail "$(wc -l <dying) workers are started, not three"

# A worker without a supervisor.
ends_badly --worker nopipe
ends_badly --worker ''
! grep -q recvmsg err || fail "a worker without a pipe receives"

refuses
refuses --worker
refuses --help
refuses "example-$$" command more
echo "the supervisor does what it should"
