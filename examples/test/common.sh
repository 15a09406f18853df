# shellcheck shell=bash disable=SC2034
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# What the tests of the examples share. Each is run as
#
#   NAME.sh PROGRAM EMULATOR...
#
# and works in a folder of its own that is gone afterwards, as are the processes that it started.
set -euo pipefail
program=$1
shift
emulator=("$@")
folder=$(dirname "$program")
work=$(mktemp -d)
export TMPDIR=$work ZVOS_CRASH_DIR=$work
cd "$work"
started=()
finish() {
  for process in "${started[@]}"; do kill -KILL "$process" 2>/dev/null || true; done
  rm -rf "$work"
}
trap finish EXIT

fail() {
  echo "FAILED: $*"
  for file in out err; do
    [ ! -s "$file" ] || { echo "-- $file"; cat "$file"; }
  done
  exit 1
}

# start ARGUMENT...: runs the program, with its output in the files out and err.
start() {
  true >out 2>err  # what an earlier program said is gone before anybody looks
  "${emulator[@]}" "$program" "$@" >out 2>err &
  started+=($!)
}

# refuses ARGUMENT...: the program says in one line how it is used, does nothing, and ends with 2.
refuses() {
  local status=0
  timeout 20 "${emulator[@]}" "$program" "$@" >out 2>err || status=$?
  [ "$status" = 2 ] || fail "with '$*' it ends with $status, not with 2"
  [ ! -s out ] && [ "$(wc -l <err)" = 1 ] && grep -q '^usage: ' err || fail "with '$*' it does not say how it is used"
}

# await TEXT: until a line of out is the text, an extended regular expression.
await() {
  for _ in $(seq 400); do
    ! grep -qxE "$1" out || return 0
    kill -0 "${started[-1]}" 2>/dev/null || break
    sleep 0.05
  done
  ! grep -qxE "$1" out || return 0
  fail "it does not say '$1'"
}

# Sets port to where the program listens.
await_port() {
  await 'listening on port [0-9]+'
  port=$(sed -n 's/^listening on port //p' out)
}
