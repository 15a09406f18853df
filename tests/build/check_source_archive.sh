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

packaging=$source/packaging
recipe=$packaging/yocto/recipes-support/zvos/zvos_$version.bb
[ "$(sed -n '/^config BR2_PACKAGE_LIBZVOS_VERSION$/,/^\tdefault/s/^\tdefault //p' \
  "$packaging/buildroot/libzvos/Config.in")" = "\"$version\"" ] && [ -e "$recipe" ] ||
  { echo "FAILED: the recipes in packaging are not for version $version" && exit 1; }
licence() { "$1" "$source/LICENSE" | cut -d' ' -f1; }
grep -qx "sha256  $(licence sha256sum)  LICENSE" "$packaging/buildroot/libzvos/libzvos.hash" &&
  grep -qF "file://LICENSE;md5=$(licence md5sum)\"" "$recipe" ||
  { echo "FAILED: the recipes in packaging are not for this LICENSE" && exit 1; }

our_git() { git -c safe.directory='*' -C "$source" "$@"; }
if ! revision=$(our_git rev-list --count HEAD 2>/dev/null); then
  echo "an archive is made in a repository, and this is none"
  exit 77
fi
ZVOS_PACKAGES=$work "$source/scripts/package" --source
tar -C "$work/unpacked" -xf "$work"/zvos-*.tar.gz
folder=$(echo "$work"/unpacked/zvos-*)
# The recipes look for it under the version that is committed, and for a folder of that name inside.
name=zvos-$(our_git show HEAD:zvOS/zvOS/zvVersion.h |
  awk '$2 ~ /^ZVOS_VERSION_(MAJOR|MINOR|PATCH)$/ { printf "%s%s", dot, $3; dot = "." }')
! grep -q '^## Unreleased' <<<"$(our_git show HEAD:CHANGELOG.md)" || name+=+r$revision
[ -e "$work/$name.tar.gz" ] && [ "$folder" = "$work/unpacked/$name" ] ||
  { echo "FAILED: the archive is not $name.tar.gz with the folder $name" && exit 1; }

stamp=$work/revision.S
"$cmake" -DSOURCE_DIR="$folder" -DNAME=zvOS -DREVISION= -DLABEL= -DOUTPUT="$stamp" -P "$folder/cmake/WriteRevision.cmake"
expected=".ascii \"$revision\\nzvOS/branches/$(our_git rev-parse --abbrev-ref HEAD)\\n\""
grep -qxF -- "$expected" "$stamp" || { echo "FAILED: not $expected but" && cat "$stamp" && exit 1; }
echo "the archive knows its revision"
