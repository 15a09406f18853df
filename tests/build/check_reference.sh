#!/usr/bin/env bash
# Makes the reference and looks whether it is whole: every exported function has its place in the HTML, an entry of the
# search and a manual page, and its comment says what a caller must know (check_reference.xsl). A comment that does not
# fit its function stops the generator. Every type of the C++ headers has its page, every public member a text.
#
#   check_reference.sh BUILD_FOLDER SOURCE_FOLDER
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
export LC_ALL=C  # for lists that are compared
build=$1 source=$2
work=$build/reference-test
mkdir -p "$work"

failures=0
fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

status=0
"$source/docs/reference/build" "$work" || status=$?
[ "$status" != 77 ] || exit 77
[ "$status" = 0 ] || {
  echo "FAILED: the reference cannot be made"
  exit 1
}

# The lists of exported names, as the linker gets them.
{
  grep -v '^#' "$source/zvOS/zvOS.exports"
  sed -n 's/^ *\([A-Za-z_0-9]*\);$/\1/p' "$source/zvLog/zvLog.map"
} | sort >"$work/exported"
[ "$(wc -l <"$work/exported")" -gt 300 ] || fail "the lists of exported names are not what they were"

xsltproc "$source/tests/build/check_reference.xsl" "$work/xml/index.xml" >"$work/told"
while read -r _ what; do fail "the comment of $what is missing"; done < <(grep '^lacks ' "$work/told")

awk '$1 == "name" { print $2 }' "$work/told" | sort >"$work/described"
for name in $(comm -23 "$work/exported" "$work/described"); do fail "$name is exported and not described"; done
for name in $(comm -13 "$work/exported" "$work/described"); do fail "$name is described and not exported"; done
for name in $(uniq -d "$work/described"); do fail "$name is described twice"; done

# What is found where, each as a sorted list of names.
(cd "$work/html" && grep -o 'id="g[0-9a-f]*"' group__*.html) | sed 's/:id="/ /; s/"$//' | sort >"$work/anchors"
awk 'NR == FNR { anchors[$1 " " $2]; next } $1 == "name" && ($3 " " $4) in anchors { print $2 }' \
  "$work/anchors" "$work/told" | sort >"$work/placed"
cat "$work"/html/search/functions_*.js "$work"/html/search/variables_*.js |
  sed -n "s/.*\['\([A-Za-z_0-9]*\)',.*/\1/p" | sort >"$work/searched"
cat "$work"/man/man3/*.3 | sed -n 's/^\([A-Za-z_0-9]*\)\(, [A-Za-z_0-9]*\)\{0,1\} \\- .*/\1/p' | sort >"$work/paged"
for name in $(comm -23 "$work/exported" "$work/placed"); do fail "$name has no place in the HTML"; done
for name in $(comm -23 "$work/exported" "$work/searched"); do fail "the search does not find $name"; done
for name in $(comm -23 "$work/exported" "$work/paged"); do fail "$name has no manual page"; done

# The C++ interface: what the headers declare (check_reference.awk) is there with a text, and nothing else is. An
# enumeration and a record without functions stand on the page of what they belong to.
awk -f "$source/tests/build/check_reference.awk" "$source"/zvOS/zvOS/cpp/*.hpp | sort >"$work/cpp-declared"
[ "$(wc -l <"$work/cpp-declared")" -gt 200 ] || fail "the C++ headers cannot be read"
(cd "$work/html" && printf 'page %s\n' *.html) >"$work/cpp-places"
cat "$work"/html/*.html |
  sed -n 's/.*class="memdesc:\([^"]*\)".*class="mdescRight">[^<]*[A-Za-z].*/text \1/p' >>"$work/cpp-places"
cat "$work"/html/namespacezv*.html "$work"/html/classzv*.html |
  grep -o ' id="[^"]*"' | sed 's/ id="\(.*\)"/anchor \1/' >>"$work/cpp-places"
awk 'NR == FNR { places[$1, $2]; next }
  { anchor = $NF; sub(/.*_1/, "", anchor) }
  $1 == "cpptype" && (("page", $3 ".html") in places || ("anchor", $3) in places || ("text", anchor) in places) {
    print "type", $2
  }
  $1 == "cppmember" && (("text", anchor) in places || ("anchor", anchor) in places || $2 ~ /^zv::(Ready|PipePair)$/) {
    print "member", $2, $3
  }' "$work/cpp-places" "$work/told" | sort >"$work/cpp-shown"
while read -r what; do fail "$what of the C++ headers is not shown"; done < <(
  comm -23 <(grep -v '^heir' "$work/cpp-declared") "$work/cpp-shown")
while read -r what; do fail "$what is shown and not declared in the C++ headers"; done < <(
  comm -13 <(sort -u "$work/cpp-declared") <(sort -u "$work/cpp-shown"))
while read -r _ type; do
  page=$(awk -v type="$type" '$1 == "cpptype" && $2 == type { print $3 ".html" }' "$work/told")
  grep -A1 'memitem:[0-9a-f]* inherit' "$work/html/$page" | grep -q '>\(Handle\|Descriptor\)<' ||
    fail "the page of $type does not list what it has of an owner"
done < <(grep '^heir' "$work/cpp-declared")

# What these members call is said and leads to it.
cat "$source"/zvOS/zvOS/cpp/*.hpp | sed 's,//.*,,' | grep -oE '[A-Za-z_][A-Za-z_0-9]*' | sort -u |
  comm -12 - "$work/exported" >"$work/cpp-called"
grep -ohE 'href="group__[^"]*"[^>]*>[A-Za-z_0-9]+</a>' "$work"/html/classzv_1_1*.html "$work"/html/namespacezv_1_1*.html |
  sed 's/.*">\(.*\)<.*/\1/' | sort -u >"$work/cpp-linked"
while read -r name; do fail "no page of a C++ type says that it calls $name"; done < <(
  comm -23 "$work/cpp-called" "$work/cpp-linked")

# The search finds the types and members, and zv::Mutex as well as Mutex. What is the headers' own is not found.
cat "$work"/html/search/*.js | sed -n "s/^ *\['[^']*',\['\([^']*\)',.*/\1/p" |
  sed 's/&lt;/</g; s/&gt;/>/g; s/ //g' | sort -u >"$work/cpp-searched"
while read -r name; do fail "the search does not find $name of the C++ headers"; done < <(
  awk '$1 != "heir" { gsub(/_bool/, "bool"); sub(/.*::/, "", $NF); print $NF }' "$work/cpp-declared" |
    sort -u | comm -23 - "$work/cpp-searched")
grep -q 'replace(/^.\*::/' "$work/html/search/search.js" || fail "who searches for zv::Mutex does not find Mutex"
if grep -rl 'zv_1_1detail\|detail::' "$work/html" --include='*.html' --include='*.js'; then fail "these name zv::detail"; fi

# What a function says itself goes before what its family says.
while read -r _ name version; do
  grep -qx "Since version $version\." "$work/man/man3/$name.3" || fail "the manual page of $name does not say '$version'"
done < <(grep '^since ' "$work/told" | grep -v ' 1\.0\.0$')

# Since when each name is there, its comment and the lists of the releases say alike; what no list has yet is for the
# next release.
while read -r _ name version; do
  first=$(cd "$source/tests/build/released" && grep -lx "$name" lib* | sort -t- -k2 -V | head -n 1) || true
  [ -z "$first" ] || [ "$version" = "${first##*-}.0" ] ||
    fail "$name is in the list $first, and its comment says that it is there since '$version'"
done < <(grep '^since ' "$work/told")

# Who begins at the first page finds every family.
while read -r family; do
  grep -qw "@ref $family" "$source/docs/reference/mainpage.md" || fail "the first page does not lead to $family"
done < <(sed -n 's/.*<compoundname>\(zv[a-z]*_[a-z]*\)<.*/\1/p' "$work"/xml/group__*.xml)

# What callers write in place of a function leads to it.
while read -r macro function; do
  grep -qx ".so man3/$function.3" "$work/man/man3/$macro.3" || fail "$macro has no manual page"
done < <(sed -n 's/^#define \(zvSocket[A-Za-z_]*\)(.*) *\(zvSocket[A-Za-z_]*_Debug\)(.*/\1 \2/p' "$source"/zvOS/zvOS/*.h)

if grep -rlF "$source" "$work/html" "$work/man"; then fail "these name the folder of the sources"; fi
if command -v groff >/dev/null; then
  said=$(find "$work/man" -name '*.3' -exec grep -L '^\.so ' {} + | sort | xargs cat | groff -man -Tutf8 -ww -z -rLL=120n 2>&1) || true
  [ -z "$said" ] || fail "of the manual pages groff says" "$said"
fi
if command -v man >/dev/null; then
  man -M "$work/man" -w zvMutex_Lock >/dev/null || fail "man does not find zvMutex_Lock"
fi

[ "$failures" = 0 ] || exit 1
echo "the reference describes $(wc -l <"$work/exported") exported names and $(grep -c '^type' "$work/cpp-declared") C++ types and namespaces"
