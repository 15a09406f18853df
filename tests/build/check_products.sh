#!/usr/bin/env bash
# Checks the products of a build with the binary tools of their target.
#
#   check_products.sh READELF NM BUILD_FOLDER SOURCE_FOLDER VERSION SANITIZERS
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -uo pipefail
readelf=$1 nm=$2 build=$3 source=$4 version=$5 sanitizers=$6
major=${version%%.*} series=${version%.*}
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# exports LIBRARY: the names that it exports; AddressSanitizer adds one of its own beside each variable.
# names LIST: those that a file lists.
exports() { "$nm" -D --defined-only "$1" | awk '{print $3}' | grep -v '^__odr_asan\.' | sort; }
names() { grep -v '^#' "$1" | sort; }

# check_exports LIBRARY LIST: exactly the listed names are exported.
check_exports() {
  local listed exported
  listed=$(names "$2")
  exported=$(exports "$1")
  [ -n "$listed" ] && [ "$listed" = "$exported" ] ||
    fail "$1 does not export exactly the names of $2:" "$(diff <(echo "$listed") <(echo "$exported"))"
}

# check_released LIBRARY: what any release of this major version exported is exported still. Each minor version
# has its list, made with its first release; between releases there may be more than any list has.
check_released() {
  local lists list missing added
  lists=$source/tests/build/released/$(basename "$1" .so)
  if [ ! -f "$lists-$series" ]; then
    fail "there is no list $lists-$series: docs/abi.md says how to make it"
    return
  fi
  for list in "$lists-$major".*; do
    missing=$(comm -23 <(names "$list") <(exports "$1"))
    [ -z "$missing" ] || fail "$1 does not export what $list promises:" "$missing"
  done
  grep -q '^## Unreleased' "$changes" && return
  added=$(comm -13 <(names "$lists-$series") <(exports "$1"))
  [ -z "$added" ] || fail "$1 exports what $lists-$series does not list:" "$added"
}

# check_needs FILE NAME...: the file needs no other library at run time.
check_needs() {
  local file=$1 names needed
  shift
  names=$("$readelf" -dW "$file" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
  [ -n "$names" ] || fail "$file needs nothing, not even the C library"
  for needed in $names; do
    case " $* libc.so.6 libm.so.6 ld-linux.so.2 ld-linux-armhf.so.3 ld-linux-x86-64.so.2 " in
      *" $needed "*) ;;
      *) fail "$file needs $needed" ;;
    esac
  done
}

check_hardening() {
  local file=$1 dynamic program
  dynamic=$("$readelf" -dW "$file")
  program=$("$readelf" -lW "$file")
  grep -q 'BIND_NOW\|FLAGS.*NOW' <<<"$dynamic" || fail "$file does not bind at once"
  grep -q 'GNU_RELRO' <<<"$program" || fail "$file has no RELRO"
  grep -q 'TEXTREL' <<<"$dynamic" && fail "$file has text relocations"
  grep 'GNU_STACK' <<<"$program" | grep -q 'RWE' && fail "$file has an executable stack"
  return 0
}

# check_stamp FILE: the revision section is there, of type PROGBITS, without flags, alignment 1.
check_stamp() {
  # Fields behind the name: type, address, offset, size, entry size, no flags, link, info, alignment.
  local fields
  fields=$("$readelf" -SW "$1" | sed -n 's/.*\.zevo\.version *//p')
  set -- "$1" $fields
  [ "${2-}" = PROGBITS ] && [ "$#" = 9 ] && [ "$9" = 1 ] || fail "$1: section .zevo.version is '$fields'"
  grep -q '/branches/' <<<"$("$readelf" -p .zevo.version "$1" 2>&1)" || fail "$1: the stamp has no label"
}

# check_build_id FILE: reports of crashes and debug information find each other by it.
check_build_id() {
  grep -qE 'Build ID: [0-9a-f]{40}$' <<<"$("$readelf" -n "$1")" || fail "$1 has no build id of 160 bits"
}

os=$build/lib/libzvOS.so log=$build/lib/libzvLog.so changes=$source/CHANGELOG.md
check_exports "$os" "$source/zvOS/zvOS.exports"
check_released "$os"
check_released "$log"

newest=$(sed -n 's/^## \([0-9][0-9.]*\) .*/\1/p' "$changes" | head -n 1)
[ "$newest" = "$version" ] || fail "the newest release in $changes is '$newest', the version is $version"

grep -q 'FLAGS_1.*NODELETE' <<<"$("$readelf" -dW "$os")" || fail "$os can be unmapped, with its signal handlers"

for library in "$os" "$log"; do
  check_hardening "$library"
  check_stamp "$library"
  check_build_id "$library"
  soname=$("$readelf" -dW "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = "$(basename "$library").$major" ] || fail "$library has the SONAME '$soname'"
  [ "$(readlink -f "$library")" = "$(readlink -f "$build")/lib/$(basename "$library").$version" ] ||
    fail "$library is not that of version $version"
done
for program in "$build"/bin/*; do
  [ -x "$program" ] && [ ! -d "$program" ] || continue
  check_hardening "$program"
  check_stamp "$program"
  check_build_id "$program"
done

if [ -z "$sanitizers" ]; then
  check_needs "$os" libzvLog.so.1
  [ ! -e "$build/bin/zvos" ] || check_needs "$build/bin/zvos" libzvOS.so.1 libzvLog.so.1

  # Calls between the library's own functions bind directly: no relocation names one of them. A variable
  # has to be reached through one, since a program may hold the copy that everybody uses.
  relocations=$("$readelf" -rW "$os")
  grep -qw malloc <<<"$relocations" || fail "$os has no readable relocations"
  functions=$("$nm" -D --defined-only "$os" | awk '$2 == "T" { print $3 }')
  [ -n "$functions" ] || fail "$os exports no functions"
  own=$(grep -wFf <(echo "$functions") <<<"$relocations")
  [ -z "$own" ] || fail "$os reaches its own functions through relocations:" "$own"

  for library in "$os" "$log"; do
    imported=$("$nm" -D --undefined-only "$library")
    grep -q '__stack_chk_fail' <<<"$imported" || fail "$library has no stack protector"
    grep -q '_chk@' <<<"$imported" || fail "$library has no fortified calls"
  done

  # Nothing of the build machine's folders is in the libraries; sanitizers name sources in full.
  for library in "$os" "$log"; do
    grep -qF "$source" "$library" && fail "$library contains the path of the source folder"
  done
fi

[ "$failures" = 0 ] && echo "all products are as promised"
exit "$failures"
