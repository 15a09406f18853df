#!/usr/bin/env bash
# The code of docs/cpp.md compiles: its program as it is, and what stands alone as the body of a function. The program
# runs.
#
#   check_page.sh SOURCE_FOLDER BUILD_FOLDER COMPILER FLAGS EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
source=$1 build=$2 compiler=$3 flags=$4
shift 4
work=$build/cpp-page
rm -rf "$work"
mkdir -p "$work"
cd "$work"

awk '/^```cpp$/ { ++count; inside = 1; next } /^```$/ { inside = 0 } inside { print > ("block." count) }' \
  "$source/docs/cpp.md"
blocks=$(ls block.* | wc -l)
[ "$blocks" = 3 ] || { echo "FAILED: the page has $blocks pieces of code, not three"; exit 1; }
mv block.1 program.cpp
{
  printf '#include <zvOS/zvOS.hpp>\n#include <cstdio>\n'
  for block in block.*; do
    printf 'int Body%s();\nint Body%s() {\n%s\nreturn 0;\n}\n' "${block#*.}" "${block#*.}" "$(cat "$block")"
  done
} >bodies.cpp
options=(-std=c++17 -Wall -Wextra -Werror -I"$source/zvOS" -I"$source/zvLog")
# The flags are a list of words.
# shellcheck disable=SC2086
{
  "$compiler" $flags "${options[@]}" -fsyntax-only bodies.cpp
  "$compiler" $flags "${options[@]}" program.cpp -o program -L"$build/lib" -lzvOS -lzvLog -Wl,-rpath,"$build/lib"
}
said=$("$@" ./program) || { echo "FAILED: the program of the page ends with $?"; exit 1; }
grep -qxE '[1-9][0-9]* letters' <<<"$said" || { echo "FAILED: the program of the page says '$said'"; exit 1; }
echo "the code of the page compiles and runs"
