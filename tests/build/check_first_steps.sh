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

fail() {
  echo "FAILED: $*"
  exit 1
}

cd "$work/steps"
page=$source/docs/first-steps.md
# A program is a block whose first line is its name.
awk -v folder="$HOME/player/" '/^```c(pp)?$/ { getline; name = folder $2; inside = 1 } /^```$/ { inside = 0 }
  inside { print > name }' "$page"
# A command begins with "$", its output goes to the next one or to the end of the block.
awk '/^```text$/ { inside = 1; next } /^```$/ { inside = 0 }
  inside && /^\$ / { ++count; print substr($0, 3) > ("command." count); printf "" > ("expected." count); next }
  inside { print > ("expected." count) }' "$page"

mask() {
  sed -E -e 's/^[0-9-]{10}T[0-9:.]+Z /TIME /' -e 's/\[[0-9]+:[0-9]+\] /[IDS] /' -e "s#(/home/you|$HOME)/#HOME/#g" \
    -e 's#^(TIME .* zvOS/[A-Za-z_/.]+):[0-9]+: #\1: #'
}

begin=$SECONDS
count=$(find . -name 'command.*' | wc -l)
[ "$count" -ge 10 ] || fail "the page has $count commands"
for number in $(seq "$count"); do
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
  difference=$(diff <(mask <"expected.$number" | grep -vx -F ...) <(mask <"said.$number" | head -n "$lines")) ||
    fail "'$command' prints something else than the page says:" "$difference"
done
echo "the page's commands print what it says; they took $((SECONDS - begin)) s"
