#!/usr/bin/env bash
# The source archive, unpacked where there is no repository, is stamped with the revision that it was made of, and the
# recipes of other systems are for the version that it has.
#
#   check_source_archive.sh CMAKE BUILD_FOLDER SOURCE_FOLDER VERSION
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
cmake=$1 source=$3 version=$4
work=$2/source-archive-test
rm -rf "$work"
mkdir -p "$work/unpacked"

grep -qx "LIBZVOS_VERSION = $version" "$source/packaging/buildroot/libzvos/libzvos.mk" &&
  [ -e "$source/packaging/yocto/recipes-support/zvos/zvos_$version.bb" ] ||
  { echo "FAILED: the recipes in packaging are not for version $version" && exit 1; }

our_git() { git -c safe.directory='*' -C "$source" "$@"; }
if ! revision=$(our_git rev-list --count HEAD 2>/dev/null); then
  echo "an archive is made in a repository, and this is none"
  exit 77
fi
ZVOS_PACKAGES=$work "$source/scripts/package" --source
tar -C "$work/unpacked" -xf "$work"/zvos-*.tar.gz
folder=$(echo "$work"/unpacked/zvos-*)
[ -d "$folder/zvOS" ] && [ ! -e "$folder/.git" ]

stamp=$work/revision.S
"$cmake" -DSOURCE_DIR="$folder" -DNAME=zvOS -DREVISION= -DLABEL= -DOUTPUT="$stamp" -P "$folder/cmake/WriteRevision.cmake"
expected=".ascii \"$revision\\nzvOS/branches/$(our_git rev-parse --abbrev-ref HEAD)\\n\""
grep -qxF -- "$expected" "$stamp" || { echo "FAILED: not $expected but" && cat "$stamp" && exit 1; }
echo "the archive knows its revision"
