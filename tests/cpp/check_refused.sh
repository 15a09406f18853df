#!/usr/bin/env bash
# Mistakes that the compiler is to refuse: each of the file, for the reason that stands behind it. Without a mistake
# the file compiles.
#
#   check_refused.sh FILE COMPILER FLAGS OPTION...
#
# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
set -euo pipefail
file=$1 compiler=$2 flags=$3
shift 3

# compile NUMBER: what the compiler says, in words that do not depend on the language.
compile() {
  # The flags are a list of words.
  # shellcheck disable=SC2086
  LC_ALL=C "$compiler" $flags -std=c++17 -fsyntax-only -Wall -Wextra -Werror -Wno-error=unused-variable "${options[@]}" \
    -DMISTAKE="$1" "$file" 2>&1
}
options=("$@")

said=$(compile 0) || { echo "FAILED: it does not compile without a mistake:" "$said"; exit 1; }
count=0
while IFS='|' read -r number reason; do
  if said=$(compile "$number"); then
    echo "FAILED: mistake $number is not refused"
    exit 1
  fi
  grep -qE "error: .*(${reason//nodiscard/nodiscard|unused-result})" <<<"$said" ||
    { echo "FAILED: mistake $number is refused for another reason than '$reason':" "$said"; exit 1; }
  count=$((count + 1))
done < <(sed -nE 's/^#(el)?if MISTAKE == ([0-9]+) +\/\/ (.*): .*/\2|\3/p' "$file")
expected=$(grep -c '^#.*MISTAKE ==' "$file")
[ "$count" = "$expected" ] || { echo "FAILED: $count of $expected mistakes were tried"; exit 1; }
echo "$count mistakes are refused"
