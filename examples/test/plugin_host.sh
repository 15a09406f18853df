#!/usr/bin/env bash
# Plug-ins run, however many, one that cannot be loaded is said, and one that crashes is reported before the host dies of it.
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
# shellcheck source-path=SCRIPTDIR source=common.sh
. "$(dirname "$0")/common.sh"

start "$folder/greet.so" "$folder/greet.so"
wait "${started[0]}" || fail "it does not end well"
[ "$(grep -cx "$folder/greet.so: 42" out)" = 2 ] || fail "the plug-in is not run twice"

start "$folder/missing.so" "$folder/greet.so"
! wait "${started[1]}" || fail "it does not say that a plug-in is missing"
grep -qx "$folder/missing.so: not begun" out && grep -qx "$folder/greet.so: 42" out ||
  fail "one plug-in keeps the other from running"

# More of them than anybody would make room for in advance.
plugins=()
for _ in $(seq 100); do plugins+=("$folder/greet.so"); done
start "${plugins[@]}"
wait "${started[2]}" || fail "it does not end well with many plug-ins"
[ "$(grep -cx "$folder/greet.so: 42" out)" = 100 ] || fail "not all of the plug-ins are run"

refuses

status=0
{ start "$folder/crash.so"; wait "${started[3]}"; } 2>shell || status=$?
[ "$status" = 139 ] || fail "it ends with $status, not by SIGSEGV"
grep -q 'Received fatal signal: 11' err && grep -q 'crash.so' err || fail "the log does not tell whose crash it was"
cat "$work"/zvos_crash_*.txt >crash_file && grep -q 'crash.so' crash_file || fail "there is no crash file"
rm -f "/tmp/backtrace_${started[3]}.txt"
echo "the plug-in host does what it should"
