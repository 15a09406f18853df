# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# The library exports the names of its map, all of them and no others.
#   cmake -DNM=... -DLIBRARY=... -DMAP=... -P ExportedNames.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ \n]+\n" exported "${symbols}")
list(TRANSFORM exported STRIP)
list(SORT exported)

file(STRINGS ${MAP} lines REGEX "^    [A-Za-z_0-9]+;$")
list(TRANSFORM lines STRIP)
list(TRANSFORM lines REPLACE ";$" "")
string(REPLACE "\\;" "" expected "${lines}")
list(SORT expected)

list(LENGTH expected count)
if(count EQUAL 0)
  message(FATAL_ERROR "no names found in ${MAP}")
endif()
if(NOT exported STREQUAL expected)
  message(FATAL_ERROR "exported:\n  ${exported}\nexpected:\n  ${expected}")
endif()
message(STATUS "${count} names exported")
