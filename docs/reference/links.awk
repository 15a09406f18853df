# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Makes links in texts: the name of an exported function becomes "#zvMutex_Lock", and in the page of the C++ interface
# the name of a type that stands alone between backticks leads to the type; all else between backticks is code.
# prepare.awk and prepare_cpp.awk begin with it, in the folder of the sources.

BEGIN {
  while ((getline line < "zvOS/zvOS.exports") > 0) exported[line]
  while ((getline line < "zvLog/zvLog.map") > 0) {
    gsub(/[ ;]/, "", line)
    exported[line]
  }
  if (ARGV[1] ~ /cpp\.md$/) {
    list = "cat zvOS/zvOS/cpp/*.hpp"
    while ((list | getline line) > 0)
      if (sub(/^(class|struct) (\[\[nodiscard\]\] )?/, "", line) && sub(/ .*/, "", line)) types[line]
    close(list)
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

function prepared(text, parts, count, i, result, name) {
  count = split(text, parts, "`")
  for (i = 1; i <= count; ++i) {
    name = parts[i]
    sub(/^zv::/, "", name)
    if (i % 2 == 0 && i < count && (name in types)) {
      result = result "<code>@ref zv::" name " \"" parts[i] "\"</code>" linked(parts[++i])
    } else result = result (i > 1 ? "`" : "") (i % 2 ? linked(parts[i]) : parts[i])
  }
  return result
}
