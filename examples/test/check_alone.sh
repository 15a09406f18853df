#!/usr/bin/env bash
# The examples build over the installed library, as a project of their own and one by one with pkg-config.
#
#   check_alone.sh CMAKE BUILD_FOLDER EXAMPLES_FOLDER TOOLCHAIN_FILE C_COMPILER C_FLAGS CXX_COMPILER CXX_FLAGS
#     EMULATOR...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
cmake=$1 build=$2 examples=$3 toolchain=$4 c=$5 c_flags=$6 cxx=$7 cxx_flags=$8
shift 8
work=$build/examples-test
rm -rf "$work"
mkdir -p "$work"
export TMPDIR=$work

"$cmake" --install "$build" --prefix "$work/root" >/dev/null
"$cmake" -S "$examples" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_PREFIX_PATH="$work/root" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH >/dev/null
"$cmake" --build "$work/build" >"$work/log" || { cat "$work/log"; exit 1; }
! grep -i warning "$work/log" || { echo "FAILED: a user of the library is warned"; exit 1; }
# That they work is tested elsewhere; these two run at once.
for language in c cpp; do
  "$examples/test/log_provider.sh" "$work/build/log_provider_$language" "$@"
done

export PKG_CONFIG_PATH=$work/root/lib/pkgconfig
# The flags are lists of words.
# shellcheck disable=SC2046,SC2086
{
  "$c" $c_flags "$examples/c/log_provider.c" $(pkg-config --cflags --libs zvOS) \
    -Wl,-rpath,"$work/root/lib" -o "$work/log_provider_c"
  "$cxx" $cxx_flags -std=c++17 "$examples/cpp/log_provider.cpp" $(pkg-config --cflags --libs zvOS) \
    -Wl,-rpath,"$work/root/lib" -o "$work/log_provider_cpp"
}
for language in c cpp; do
  "$examples/test/log_provider.sh" "$work/log_provider_$language" "$@"
done
echo "the examples build over the installed library"
