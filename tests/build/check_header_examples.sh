#!/usr/bin/env bash
# Compiles the examples in the comments of the public headers, each as the body of a function.
#
#   check_header_examples.sh BUILD_FOLDER SOURCE_FOLDER C_COMPILER C_FLAGS
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
build=$1 source=$2 compiler=$3 flags=$4
work=$build/header-examples
rm -rf "$work"
mkdir -p "$work"
cd "$source"

{
  (cd zvOS && printf '#include <%s>\n' zvOS/*.h)
  (cd zvLog && printf '#include <%s>\n' zvLog/*.h)
  cat tests/build/header_examples.h
} >"$work/names.h"

# A block goes from "```c" to "```" in a comment; messages of the compiler name its place in the header.
awk -v work="$work" '
  FNR == 1 { inside = 0 }
  /^(\/\/\/| \*) ```c$/ {
    inside = 1
    file = work "/example" ++count ".c"
    print "#include \"names.h\"\nvoid Example(void);\nvoid Example(void) {\n#line " FNR + 1 " \"" FILENAME "\"" >file
    next
  }
  inside && /^(\/\/\/| \*) ```$/ { inside = 0; print "}" >file; close(file); next }
  inside { sub(/^(\/\/\/| \*) ?/, ""); print >file }' zvOS/zvOS/*.h zvLog/zvLog/*.h

count=0
for file in "$work"/example*.c; do
  # The flags are lists of words.
  # shellcheck disable=SC2086
  "$compiler" $flags -std=gnu99 -fsyntax-only -Wall -Wextra -Werror -Wno-unused-variable -Wno-unused-but-set-variable \
    -IzvOS -IzvLog "$file"
  count=$((count + 1))
done
[ "$count" -ge 25 ] || {
  echo "FAILED: only $count examples in the headers"
  exit 1
}
echo "the headers' $count examples compile"
