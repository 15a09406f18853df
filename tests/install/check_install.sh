#!/usr/bin/env bash
# Installs the build into a folder of its own, builds the example of the README against it, once
# with find_package and once with pkg-config, and runs both.
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
awk '/^```c$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$source/README.md" >"$work/example.c"
[ -s "$work/example.c" ]

"$cmake" -S "$source/tests/install" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_PREFIX_PATH="$work/root" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH \
  -DREADME_EXAMPLE="$work/example.c" >/dev/null
"$cmake" --build "$work/build" >/dev/null
[ "$("$@" "$work/build/readme_example")" = "at work" ]

export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
# The flags are lists of words.
# shellcheck disable=SC2046,SC2086
"$compiler" $flags "$work/example.c" $(pkg-config --cflags --libs zvOS) -Wl,-rpath,"$work/root/lib" -o "$work/example"
[ "$("$@" "$work/example")" = "at work" ]
echo "the installed library works with find_package and pkg-config"
