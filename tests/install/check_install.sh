#!/usr/bin/env bash
# Installs the build into a folder of its own, builds the examples of the README against it, once
# with find_package and once with pkg-config, and runs both. What the README says to do for that is then done literally,
# with nothing but what it says: its commands are for 32-bit x86, and so is this part.
#
#   check_install.sh CMAKE BUILD_FOLDER SOURCE_FOLDER TOOLCHAIN_FILE C_COMPILER C_FLAGS EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
cmake=$1 build=$2 source=$3 toolchain=$4 compiler=$5 flags=$6
shift 6
work=$build/install-test
rm -rf "$work"
mkdir -p "$work"

"$cmake" --install "$build" --prefix "$work/root" >/dev/null

# What is installed is stripped and finds its debug information, which is not installed with it but as a component of
# its own, under the build id of the file that it was split from. The stamp stays.
[ ! -e "$work/root/lib/debug" ]
"$cmake" --install "$build" --prefix "$work/debug" --component debug >/dev/null
[ ! -e "$work/debug/bin" ] && [ ! -e "$work/debug/include" ]
for file in lib/libzvOS.so lib/libzvLog.so bin/zvos; do
  notes=$(readelf -n "$work/root/$file")
  id=$(sed -n 's/.*Build ID: //p' <<<"$notes")
  [ "${#id}" = 40 ] || { echo "FAILED: $file has the build id '$id'"; exit 1; }
  symbols=$work/debug/lib/debug/.build-id/${id:0:2}/${id:2}.debug
  sections=$(readelf -SW "$work/root/$file")
  grep -qF "${id:2}.debug" <<<"$(readelf --string-dump=.gnu_debuglink "$work/root/$file")" ||
    { echo "FAILED: $file has no link to its debug information"; exit 1; }
  grep -qF .zevo.version <<<"$sections" || { echo "FAILED: $file has lost its stamp"; exit 1; }
  ! grep -qE '\.debug_|\.symtab' <<<"$sections" || { echo "FAILED: $file is not stripped"; exit 1; }
  grep -qF .debug_line <<<"$(readelf -SW "$symbols")" || { echo "FAILED: $symbols has no lines"; exit 1; }
  grep -qF "$id" <<<"$(readelf -n "$symbols")" || { echo "FAILED: $symbols is of another file"; exit 1; }
done

block() {
  awk -v begin="\`\`\`$1" '$0 == begin { inside = 1; next } /^```$/ { inside = 0 } inside' "$source/README.md"
}
block c >"$work/example.c"
block cpp >"$work/example.cpp"
[ -s "$work/example.c" ] && [ -s "$work/example.cpp" ]

"$cmake" -S "$source/tests/install" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_PREFIX_PATH="$work/root" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH \
  -DREADME_EXAMPLE="$work/example.c" -DREADME_CPP_EXAMPLE="$work/example.cpp" >/dev/null
"$cmake" --build "$work/build" >/dev/null
[ "$("$@" "$work/build/readme_example")" = "at work" ]
# What there is in /media comes after it, or before.
grep -qx "at work" <<<"$("$@" "$work/build/readme_cpp_example")"

export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
# The flags are lists of words.
# shellcheck disable=SC2046,SC2086
"$compiler" $flags "$work/example.c" $(pkg-config --cflags --libs zvOS) -Wl,-rpath,"$work/root/lib" -o "$work/example"
[ "$("$@" "$work/example")" = "at work" ]
echo "the installed library works with find_package and pkg-config"

if [ "$(basename "$toolchain")" != i386.cmake ]; then
  echo "the commands of the README are for 32-bit x86, and left out here"
  exit 0
fi
mkdir -p "$work/home" "$work/readme/build"
cd "$work/readme"
cp "$work/example.c" work.c
cp "$work/example.cpp" work.cpp
ln -s "$source/examples" "$source/cmake" .
ln -s "$build" build/release
# Its first block of commands, but for the first line, which makes the build that there is already.
awk '/^```sh$/ { inside = 1; next } /^```$/ && inside { exit } inside' "$source/README.md" | sed 1d >commands
for word in '^cmake --install build/release --prefix ~/zvos-sdk' '^gcc .*work\.c ' '^g++ .*work\.cpp ' '^cmake -S examples '; do
  grep -q "$word" commands || { echo "FAILED: the README has no command $word"; exit 1; }
done
env -u PKG_CONFIG_PATH -u CFLAGS -u CXXFLAGS -u CMAKE_C_COMPILER_LAUNCHER -u CMAKE_CXX_COMPILER_LAUNCHER \
  HOME="$work/home" bash -eu commands >said 2>&1 || { echo "FAILED: the commands of the README:" && cat said && exit 1; }
[ "$(./work)" = "at work" ]
grep -qx "at work" <<<"$(./work++)"
"$cmake" --build build/examples --target example_chat_cpp >/dev/null
echo "so do the commands of the README"
