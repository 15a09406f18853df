#!/usr/bin/env bash
# The manual page of the program and the completion of its command line know every command and every option that its
# help explains, and no others.
#
#   check_manual.sh SOURCE_FOLDER PROGRAM EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -uo pipefail
page=$1/tools/zvos/manual/zvos.1 completion=$1/tools/zvos/manual/zvos.bash program=$2
shift 2
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# same WHAT HELP OTHER: two lists, of a word a line.
same() {
  local difference
  difference=$(diff <(sort -u <<<"$2") <(sort -u <<<"$3")) || fail "$1 (<: the help, >: elsewhere)" "$difference"
}

# completed WORD...: what is proposed for the last of these words.
completed() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
  _zvos
  printf '%s\n' "${COMPREPLY[@]}"
}

# section COMMAND: of the manual page.
section() { awk -v start="^[.]It Cm $1( |\$)" '$0 ~ start { on = 1; print; next } /^[.]It Cm |^[.]Sh / { on = 0 } on' "$page"; }

# shellcheck source=/dev/null
. "$completion"
commands=$("$@" "$program" --help | awk '/^Commands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')
[ "$(wc -l <<<"$commands")" -gt 10 ] || fail "the help lists the commands '$commands'"
same "commands on the manual page" "$commands" "$(sed -n '/^[.]Sh COMMANDS/,/^[.]Sh ENV/s/^[.]It Cm \([a-z]*\).*/\1/p' "$page")"
same "commands that are completed" "$commands" "$(completed zvos '' | grep -v '^-')"

for command in $commands; do
  [ "$command" != help ] || continue
  # Of the lines that explain an option, and of the usage.
  help=$("$@" "$program" help "$command")
  options=$(grep -oE '(^  |^usage.*\[)(--[a-z-]+|-o)' <<<"$help" | grep -oE -- '(--[a-z-]+|-o)$' | sort -u)
  options+=$'\n'$(head -n 1 <<<"$help" | grep -oE -- '--[a-z-]+')
  same "options of $command on the manual page" "$(grep . <<<"$options")" \
    "$(section "$command" | grep -oE 'Fl (-[a-z-]+|o)( |$)' | sed 's/^Fl /-/; s/ $//' | grep .)"
  same "options of $command that are completed" "$(grep . <<<"$options" | grep -v -- -o$)" \
    "$(completed zvos "$command" - | grep -E '^--' | grep -vx -- --help)"
done

# Each policy and class.
for option in policy qos; do
  for value in $(completed zvos serve "--$option" '' | grep -v -- --help); do
    grep -qw -- "$value" <<<"$("$@" "$program" help serve)" || fail "$value of --$option is no value"
  done
done

[ "$failures" = 0 ] && echo "manual page and completion know what the program knows"
exit "$failures"
