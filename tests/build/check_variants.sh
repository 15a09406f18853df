#!/usr/bin/env bash
# Builds and installs the library in ways that the presets do not, each in a folder of its own.
#
#   check_variants.sh subproject|nameless|named|program|static CMAKE BUILD_FOLDER SOURCE_FOLDER TOOLCHAIN_FILE C_COMPILER
#     C_FLAGS READELF EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
way=$1 cmake=$2 build=$3 source=$4 toolchain=$5 compiler=$6 flags=$7 readelf=$8
shift 8
emulator=("$@")
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
  # Over a file that provides the log interface. It may say no name of its own; then the one of the file serves.
  nameless | named)
    if [ "$way" = named ]; then
      soname=libvendorlog.so.3 options=-Wl,-soname,libvendorlog.so.3 provider=small_provider.c
    else
      soname=libvendorlog.so options= provider=short_provider.c
    fi
    mkdir "$work/vendor"
    # The flags are lists of words.
    # shellcheck disable=SC2086
    "$compiler" $flags -shared -fPIC $options -I"$source/tests/provider" -o "$work/vendor/libvendorlog.so" \
      "$source/tests/provider/$provider"
    configure "$source" -DZVLOG_PROVIDER="$work/vendor/libvendorlog.so" -DZVLOG_INCLUDE_DIR="$source/tests/provider"
    grep -q 'left out over another log provider: the program zvos' "$work/configure.log" &&
      grep -q 'left out of the package: the log provider itself' "$work/configure.log" ||
      fail "not said: what is left out"
    "$cmake" --build "$work/build" >/dev/null
    "$cmake" --install "$work/build" --prefix "$work/root" >/dev/null
    "$readelf" -d "$work/root/lib/libzvOS.so" | grep -q "NEEDED.*\[$soname\]" ||
      fail "the provider is not needed by its name"
    grep -rqF "$work" "$work/root/lib/cmake" "$work/root/lib/pkgconfig" && fail "the package names the build folder"
    cp "$work/vendor/libvendorlog.so" "$work/root/lib"
    [ "$way" = nameless ] || ln -s libvendorlog.so "$work/root/lib/$soname"
    ;;
  # The library as it is, and its functions replaced one by one by those that a program has of the same names.
  program)
    "$cmake" --install "$build" --prefix "$work/root" >/dev/null
    own="$source/tests/provider/short_provider.c"
    ;;
  # As part of the program, from a folder that it was moved to after the installation.
  static)
    # Debian has a folder of its own for the libraries of its processor in /usr.
    configure "$source" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib -DZVOS_STATIC=ON -DZVOS_BUILD_TESTS=OFF
    "$cmake" --build "$work/build" >/dev/null

    # The loader searches these folders by itself; elsewhere the libraries find each other.
    DESTDIR="$work/system" "$cmake" --install "$work/build" >/dev/null
    [ "$(find "$work/system" -name '*.pc' | wc -l)" = 2 ] || fail "not installed to DESTDIR"
    # As a system for devices in a folder, for which both kinds of pkg-config put that folder before /usr.
    [ "$(grep -h '^prefix=' "$work"/system/usr/lib/pkgconfig/*.pc | uniq -c)" = "      2 prefix=/usr" ] ||
      fail "the files of pkg-config in /usr count from their place"
    for package in zvOS zvOS-static; do
      said=$(PKG_CONFIG_SYSROOT_DIR="$work/system" PKG_CONFIG_LIBDIR="$work/system/usr/lib/pkgconfig" \
        PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 pkg-config --cflags --libs "$package")
      [[ "$said " == "-I$work/system/usr/include -L$work/system/usr/lib -l"* && "$said" != *" /"* ]] ||
        fail "of $package in a system for devices pkg-config says $said"
    done
    while read -r file; do
      ! "$readelf" -d "$file" | grep -E 'R(UN)?PATH' || fail "$file says where to search for libraries"
    done < <(find "$work/system/usr" -name 'lib*.so.*.*' -o -name zvos -type f -perm -100)
    # What is removed is what was installed, with the folders that nobody else uses.
    install -D /dev/null "$work/system/usr/include/zvOS/of_somebody_else.h"
    DESTDIR="$work/system" "$cmake" --build "$work/build" --target uninstall >/dev/null
    left=$(cd "$work/system/usr" && find . -mindepth 2 | sort | paste -sd' ')
    [ "$left" = "./include/zvOS ./include/zvOS/of_somebody_else.h" ] || fail "uninstalling leaves $left"
    ! "$cmake" --build "$work/build" --target uninstall >/dev/null 2>&1 || fail "what is not there can be removed"

    "$cmake" --install "$work/build" --prefix "$work/first" >/dev/null
    mv "$work/first" "$work/root"
    ! grep -rqF "$work" "$work"/root/lib/cmake "$work"/root/lib/pkgconfig || fail "the packages name a folder"
    "$readelf" -d "$work/root/lib/libzvOS.so" | grep -q 'RUNPATH.*\[\$ORIGIN\]' || fail "libzvOS finds no libzvLog"
    ! "$readelf" -d "$work/root/lib/libzvLog.so" | grep -q RUNPATH || fail "libzvLog, which needs nothing, searches"
    "${emulator[@]}" "$work/root/bin/zvos" --version >/dev/null || fail "the program does not find the libraries"

    # Wholly static, the shared libraries being there; then only this library, by either package.
    export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
    user=$source/tests/provider/use_provider.c
    # shellcheck disable=SC2046,SC2086
    "$compiler" $flags -static "$user" $(pkg-config --static --cflags --libs zvOS) -o "$work/whole" 2>"$work/warnings" ||
      fail "no wholly static program:" "$(cat "$work/warnings")"
    # shellcheck disable=SC2046,SC2086
    "$compiler" $flags "$user" $(pkg-config --cflags --libs zvOS-static) -o "$work/part"
    cat >"$work/CMakeLists.txt" <<TEXT
cmake_minimum_required(VERSION 3.25)
project(using LANGUAGES C CXX)
find_package(zvOS 1.0 REQUIRED)
add_executable(user $user)
target_link_libraries(user PRIVATE zvOS::zvOSStatic)
TEXT
    "$cmake" -S "$work" -B "$work/using" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
      -DCMAKE_PREFIX_PATH="$work/root" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH >/dev/null
    "$cmake" --build "$work/using" >/dev/null
    ! grep -q CXX_EXECUTABLE_LINKER "$work/using/build.ninja" || fail "a C program is linked as if it were C++"
    for program in "$work/whole" "$work/part" "$work/using/user"; do
      ! "$readelf" -d "$program" | grep -qE 'NEEDED.*(zv|stdc)' || fail "$program needs more than the C library"
      said=$("${emulator[@]}" "$program" 2>&1 >/dev/null) || fail "$program does not work:" "$said"
      grep -q 'zvOSMutex: unlock failed because not held by caller' <<<"$said" || fail "$program logs:" "$said"
      said=$(ZVLOG=none "${emulator[@]}" "$program" 2>&1 >/dev/null) || fail "$program does not work with ZVLOG:" "$said"
      [ -z "$said" ] || fail "$program does not know ZVLOG:" "$said"
    done
    echo "programs contain the library, and what was installed can be removed"
    exit 0
    ;;
esac

export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
# shellcheck disable=SC2046,SC2086
"$compiler" $flags "$source/tests/provider/use_provider.c" ${own-} $(pkg-config --cflags --libs zvOS) \
  -Wl,-rpath,"$work/root/lib" -o "$work/user"
echo "a program builds with what is installed"
[ "$way" != subproject ] || exit 0

# What the library has to say comes from the provider, and from nobody else.
said=$("${emulator[@]}" "$work/user" 2>&1 >"$work/output") || fail "the program does not run:" "$said"
grep -q 'provider works' "$work/output" || fail "the program does not say that it works"
expected='level 1, module 7, [./]*zvOS/posix/zvMutex.posix.cpp: zvOSMutex: unlock failed because not held by caller'
grep -qx "$expected" <<<"$said" || fail "the provider did not get the message:" "$said"
[ "$(wc -l <<<"$said")" = 1 ] || fail "more is said than the provider says:" "$said"
echo "it runs over that provider"
