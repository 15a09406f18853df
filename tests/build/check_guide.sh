#!/usr/bin/env bash
# Builds the programs of the guide and runs the commands that it shows: they must print what it says, up to times, numbers
# of processes and lines of the source. The commands that the guide builds its first program by are done literally, over
# an installed library and with nothing else, and for its other programs alike; they are for 32-bit x86, and so is this part.
#
#   check_guide.sh CMAKE BUILD_FOLDER SOURCE_FOLDER TOOLCHAIN_FILE C_COMPILER C_FLAGS EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
cmake=$1 build=$2 source=$3 toolchain=$4 compiler=$5 flags=$6
shift 6
work=$build/guide
rm -rf "$work"
mkdir -p "$work"
cd "$work"

. "$source/tests/build/pages.sh"

# Every block of C is a program; its first line is the name.
blocks=$(cat "$source"/docs/guide/*.md | grep -c '^```c$')
write_programs . "$source"/docs/guide/*.md
[ "$(find . -maxdepth 1 -name '*.c' | wc -l)" = "$blocks" ] || fail "not every block of C is a program with a name"
build_programs "$build" "$source" "$compiler" "$flags" "$@"

if [ "$(basename "$toolchain")" = i386.cmake ]; then
  page=$source/docs/guide/first_program.md
  awk '/^```sh$/ { inside = 1; file = "build." (++count); next } /^```$/ { inside = 0 } inside { print > file }' "$page"
  [ "$(cat "$source"/docs/guide/*.md | grep -c '^```sh$')" = 2 ] && grep -q '^gcc .*hello\.c ' build.1 &&
    grep -q '^cmake -B build ' build.2 || fail "the guide does not build its first program by gcc, then by CMake"
  mkdir -p home literal
  ln -s "$source" home/zvos
  "$cmake" --install "$build" --prefix "$work/home/zvos-sdk" >/dev/null
  {
    printf 'cmake_minimum_required(VERSION 3.25)\nproject(hello LANGUAGES C)\n'
    awk '/^```cmake$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$page"
  } >literal/CMakeLists.txt
  cp ./*.c literal
  literally() {
    (cd literal && env -u PKG_CONFIG_PATH -u CFLAGS -u CMAKE_C_COMPILER_LAUNCHER HOME="$work/home" bash -eu -c "$1") \
      >literal/said 2>&1 || fail "'$1' of the guide:" "$(cat literal/said)"
  }
  for file in *.c; do literally "$(sed "s/hello/${file%.c}/g" build.1)"; done
  literally "$(cat build.2)"
  for program in literal/hello literal/build/hello; do
    [ "$(ZVLOG=none "./$program")" = "playing a song" ] || fail "$program does not play a song"
  done
else
  echo "the commands that the guide builds by are for 32-bit x86, and left out here"
fi

write_commands "$source"/docs/guide/*.md
[ "$commands" -ge 6 ] || fail "the guide shows $commands commands only"
export ZVOS_CRASH_DIR=$work
replay_commands
# What the crash left outside.
for file in zvos_crash_*.txt; do
  process=${file#zvos_crash_}
  rm -f "/tmp/backtrace_$process"
done
echo "the guide's $commands commands print what it says"
