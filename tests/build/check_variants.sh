#!/usr/bin/env bash
# Builds and installs the library in ways that the presets do not, each in a folder of its own.
#
#   check_variants.sh subproject|provider CMAKE BUILD_FOLDER SOURCE_FOLDER TOOLCHAIN_FILE C_COMPILER C_FLAGS READELF
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
way=$1 cmake=$2 build=$3 source=$4 toolchain=$5 compiler=$6 flags=$7 readelf=$8
work=$build/variant-$way
rm -rf "$work"
mkdir -p "$work"

fail() {
  echo "FAILED: $*"
  exit 1
}

# configure FOLDER OPTION...: what the project has to say goes to configure.log.
configure() {
  "$cmake" -S "$1" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" "${@:2}" >"$work/configure.log"
}

case $way in
  # Included by another project, on a machine that has no GoogleTest.
  subproject)
    cat >"$work/CMakeLists.txt" <<TEXT
cmake_minimum_required(VERSION 3.25)
project(including LANGUAGES C CXX)
add_subdirectory($source zvOS)
if(TARGET zvos OR TARGET zvos_tests)
  message(FATAL_ERROR "more than the library")
endif()
TEXT
    configure "$work" -DZV_GOOGLETEST_SOURCE=/nonexistent
    "$cmake" --build "$work/build" >/dev/null
    "$cmake" --install "$work/build" --prefix "$work/root" >/dev/null
    [ -e "$work/root/lib/libzvLog.so" ] || fail "the log library is not installed"
    ;;
  # Over a file that provides the log interface and says no name of its own.
  provider)
    # The flags are lists of words.
    # shellcheck disable=SC2086
    "$compiler" $flags -shared -fPIC -I"$source/tests/provider" -o "$work/libvendorlog.so" \
      "$source/tests/provider/second_provider.c"
    configure "$source" -DZVLOG_PROVIDER="$work/libvendorlog.so" -DZVLOG_INCLUDE_DIR="$source/tests/provider"
    grep -q 'left out over another log provider: the program zvos' "$work/configure.log" &&
      grep -q 'left out of the package: the log provider itself' "$work/configure.log" ||
      fail "not said: what is left out"
    "$cmake" --build "$work/build" >/dev/null
    "$cmake" --install "$work/build" --prefix "$work/root" >/dev/null
    "$readelf" -d "$work/root/lib/libzvOS.so" | grep -q 'NEEDED.*\[libvendorlog.so\]' ||
      fail "the provider is not needed by its name"
    grep -rqF "$work" "$work/root/lib/cmake" "$work/root/lib/pkgconfig" && fail "the package names the build folder"
    cp "$work/libvendorlog.so" "$work/root/lib"
    ;;
esac

export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
# shellcheck disable=SC2046,SC2086
"$compiler" $flags "$source/tests/provider/use_provider.c" $(pkg-config --cflags --libs zvOS) -o "$work/user"
echo "a program builds with what is installed"
