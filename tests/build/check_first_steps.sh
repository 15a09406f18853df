#!/usr/bin/env bash
# Runs the commands of docs/first-steps.md in a home of their own, with the source as it is here in place of the
# clone: they must print what the page says, up to times, numbers of processes, lines of the library's source and
# folders. "..." stands for anything, and for success.
#
#   check_first_steps.sh BUILD_FOLDER SOURCE_FOLDER
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
if [ -z "${ZVOS_TEST_FIRST_STEPS-}" ]; then
  echo "it takes a whole build: set ZVOS_TEST_FIRST_STEPS=1, as scripts/test --all does"
  exit 77
fi
build=$1 source=$2
work=$build/first-steps
rm -rf "$work"
mkdir -p "$work/home/zvos" "$work/home/player" "$work/steps"
(cd "$source" && tar -c --exclude=./build .) | tar -x -C "$work/home/zvos"
export HOME=$work/home
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER ZVLOG

. "$source/tests/build/pages.sh"

cd "$work/steps"
page=$source/docs/first-steps.md
write_programs "$HOME/player" "$page"
write_commands "$page"

mask_home() {
  mask | sed -E "s#(/home/you|$HOME)/#HOME/#g"
}

begin=$SECONDS
[ "$commands" -ge 10 ] || fail "the page has $commands commands"
for number in $(seq "$commands"); do
  command=$(cat "command.$number")
  case "$command" in
    "git clone "*) continue ;;
    export*)
      eval "$command"
      continue
      ;;
  esac
  status=0
  (cd "$HOME/player" && bash -c "$command") >"said.$number" 2>&1 || status=$?
  if [ "$(tail -1 "expected.$number")" = ... ]; then
    lines=$(($(wc -l <"expected.$number") - 1))
    [ "$lines" -gt 0 ] || [ "$status" = 0 ] || fail "'$command' ended with $status:" "$(tail -20 "said.$number")"
  else
    lines=$(($(wc -l <"said.$number") + $(wc -l <"expected.$number")))
  fi
  difference=$(diff <(mask_home <"expected.$number" | grep -vx -F ...) <(mask_home <"said.$number" | head -n "$lines")) ||
    fail "'$command' prints something else than the page says:" "$difference"
done
echo "the page's commands print what it says; they took $((SECONDS - begin)) s"
