# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Reads a header, or a page of the guide, in place of the generator, so that the texts need no marks for it:
#
# - each macro and type of a family, "///@{" to "///@}", gets the comment that stands once in front of them; the generator
#   does so by itself for functions alone;
# - the name of an exported function becomes a link, "zvMutex_Lock" to "#zvMutex_Lock", but not in code.

BEGIN {
  while ((getline line < "zvOS/zvOS.exports") > 0) exported[line]
  while ((getline line < "zvLog/zvLog.map") > 0) {
    gsub(/[ ;]/, "", line)
    exported[line]
  }
}

function linked(text, result, before, word) {
  while (match(text, /[A-Za-z_][A-Za-z_0-9]*/)) {
    word = substr(text, RSTART, RLENGTH)
    before = RSTART > 1 ? substr(text, RSTART - 1, 1) : " "
    result = result substr(text, 1, RSTART - 1) ((word in exported) && before !~ /[#@{.\/"]/ ? "#" : "") word
    text = substr(text, RSTART + RLENGTH)
  }
  return result text
}

# What is between backticks is code.
function prepared(text, parts, count, i, result) {
  count = split(text, parts, "`")
  for (i = 1; i <= count; ++i) result = result (i > 1 ? "`" : "") (i % 2 ? linked(parts[i]) : parts[i])
  return result
}

/^(\/\/\/ | \* )?```/ { code = !code }
{ comment = FILENAME ~ /\.md$/ || /^\/\/\/ / || /^\/\*\* / || /^ \* / }
comment && !code { $0 = prepared($0) }

/^\/\/\/@[{]$|^\/\*\* @[{] \*\/$/ { family = 1; shared = ""; next }
/^\/\/\/@[}]$|^\/\*\* @[}] \*\/$/ && family { family = 0; next }
family && comment { shared = shared $0 "\n"; next }
family && /^(#define|typedef) / { printf "%s", shared }
{ print }
