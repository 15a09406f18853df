# What the checks of pages share: a page shows programs, each a block whose first line is its name, and commands with what
# they print. Sourced; works in the current folder.
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash

fail() {
  echo "FAILED: $*"
  exit 1
}

# write_programs FOLDER PAGE...: the blocks of C and C++.
write_programs() {
  local folder=$1
  shift
  awk -v folder="$folder/" '/^```c(pp)?$/ { getline; name = folder $2; inside = 1 } /^```$/ { inside = 0 }
    inside { print > name }' "$@"
}

# build_programs BUILD_FOLDER SOURCE_FOLDER C_COMPILER C_FLAGS EMULATOR...: those here, into programs/, each with a
# script of its name that runs it.
build_programs() {
  local build=$1 source=$2 compiler=$3 flags=$4 file name
  shift 4
  mkdir -p programs
  for file in *.c; do
    name=${file%.c}
    # The flags are lists of words.
    # shellcheck disable=SC2086
    "$compiler" $flags -std=gnu99 -Wall -Wextra -Werror -I"$source/zvOS" -I"$source/zvLog" "$file" \
      -o "programs/$name" -L"$build/lib" -lzvOS -lzvLog -Wl,-rpath,"$build/lib" || fail "$file does not build"
    printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$*" "$PWD/programs/$name" >"$name"
    chmod +x "$name"
  done
}

# write_commands PAGE...: into command.1 and so on, a command that goes on behind a backslash as one; what they print,
# to the next one or to the end of the block, into expected.1 and so on. Leaves their number in $commands.
write_commands() {
  awk '/^```text$/ { inside = 1; next } /^```$/ { inside = shown = continued = 0 }
    continued { print > ("command." count); continued = /\\$/; next }
    inside && /^\$ / { ++count; shown = 1; continued = /\\$/; print substr($0, 3) > ("command." count); printf "" > ("expected." count); next }
    shown { print > ("expected." count) }' "$@"
  commands=$(find . -maxdepth 1 -name 'command.*' | wc -l)
}

# What differs from run to run: times, processes and threads, lines of the library's source.
mask() {
  sed -E -e 's/^[0-9-]{10}T[0-9:.]+Z /TIME /' -e 's/\[[0-9]+:[0-9]+( [^]]*)?\] /[IDS] /' -e 's/\[[0-9]+\]:/[ID]:/' \
    -e 's# ([^ ]*/)?([A-Za-z_]+/[A-Za-z_.]+|[a-z_]+\.c):[0-9]+: # \2: #'
}

# Runs the commands, which must succeed and print what the pages show.
replay_commands() {
  local descriptor number difference
  unset ZVLOG
  # Pages show numbers of descriptors: nothing that the test was started with shall take one.
  for descriptor in /proc/self/fd/*; do
    number=${descriptor##*/}
    [ "$number" -le 2 ] || [ "$number" = 255 ] || eval "exec $number>&-"
  done
  for number in $(seq "$commands"); do
    bash "command.$number" >"said.$number" 2>&1 || fail "'$(cat "command.$number")' failed:" "$(cat "said.$number")"
    difference=$(diff <(mask <"expected.$number") <(mask <"said.$number")) ||
      fail "'$(cat "command.$number")' prints something else than the page says:" "$difference"
  done
}
