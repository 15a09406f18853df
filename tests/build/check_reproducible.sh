#!/usr/bin/env bash
# Builds the products twice, from copies of the source in folders of different names: they have to be the same to
# the byte, their debug information included. Otherwise what was archived for a release would not belong to what
# somebody else has built from the same source.
#
#   check_reproducible.sh CMAKE BUILD_FOLDER SOURCE_FOLDER TOOLCHAIN_FILE
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
if [ -z "${ZVOS_TEST_REPRODUCIBLE-}" ]; then
  echo "two whole builds take minutes: set ZVOS_TEST_REPRODUCIBLE=1, as scripts/test --all does"
  exit 77
fi
cmake=$1 build=$2 source=$3 toolchain=$4
work=$build/reproducible-test
rm -rf "$work"

# A cache of compilations writes paths of its own into what it keeps.
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
folders=("$work/one" "$work/the-other/further/down")
# Before anything is built: the source may be worked on meanwhile.
for folder in "${folders[@]}"; do
  mkdir -p "$folder/source"
  (cd "$source" && tar -c CMakeLists.txt LICENSE README.md cmake tools zvLog zvOS) | tar -x -C "$folder/source"
done
for folder in "${folders[@]}"; do
  "$cmake" -S "$folder/source" -B "$folder/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZVOS_BUILD_TESTS=OFF >/dev/null
  "$cmake" --build "$folder/build" >/dev/null
  "$cmake" --install "$folder/build" --prefix "$folder/root" >/dev/null
  "$cmake" --install "$folder/build" --prefix "$folder/root" --component debug >/dev/null
done

failures=0
compare() {
  cmp "${folders[0]}/$1" "${folders[1]}/$1" || failures=$((failures + 1))
}
compare build/lib/libzvOS.so
compare build/lib/libzvLog.so
compare build/bin/zvos
while read -r file; do compare "root/$file"; done < <(cd "${folders[0]}/root" && find . -type f)
[ "$(cd "${folders[0]}/root" && find lib/debug -name '*.debug' | wc -l)" = 3 ] || failures=$((failures + 1))
[ "$failures" = 0 ] && echo "both builds are the same" && rm -rf "$work"
exit "$failures"
