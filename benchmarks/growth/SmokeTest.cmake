# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs the quickest row of growth and looks at what was written.

set(csv ${FOLDER}/growth_smoke.csv)
set(svg ${FOLDER}/growth_smoke.svg)
file(REMOVE ${csv} ${svg})
execute_process(COMMAND ${PROGRAM} --quick --filter walk --csv ${csv} --svg ${svg}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "zvos_growth ended with ${result}\n${output}${error}")
endif()

file(STRINGS ${csv} lines)
set(number "[0-9]+[.][0-9]+")
set(row "^\"walk\",\"entries\",\"for an entry\",\".*\",\".*\",1000,3,${number},${number},${number},${number},[1-9][0-9]*$")
set(rows ${lines})
list(FILTER rows INCLUDE REGEX ${row})
list(LENGTH rows count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one row of the walk, found ${count}\n${lines}")
endif()

file(READ ${svg} picture)
if(NOT picture MATCHES "^<svg .*>walk</text>.*<circle class=\"ours\".*</svg>\n$")
  message(FATAL_ERROR "not a picture of the walk\n${picture}")
endif()
