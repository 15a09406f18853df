# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs the quickest rows and looks at what was written.

set(csv ${FOLDER}/smoke.csv)
set(svg ${FOLDER}/smoke.svg)
file(REMOVE ${csv} ${svg})
execute_process(COMMAND ${PROGRAM} --quick --filter seek --csv ${csv} --svg ${svg}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "zvos_bench ended with ${result}\n${output}${error}")
endif()

file(STRINGS ${csv} lines)
set(number "-?[0-9]+[.][0-9]+")
set(row "^\"file seek\",\"lseek64\",\"zvFile_Seek\",ratio,1[.]02,15,[1-9][0-9]*(,${number})+,[0-9]+,(not )?met")
set(rows ${lines})
list(FILTER rows INCLUDE REGEX ${row})
list(LENGTH rows count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one row of the file seek, found ${count}\n${lines}")
endif()
foreach(fact processor system compiler revision)
  set(facts ${lines})
  list(FILTER facts INCLUDE REGEX "^# ${fact}: .")
  if(facts STREQUAL "")
    message(FATAL_ERROR "no line tells the ${fact}\n${lines}")
  endif()
endforeach()

file(READ ${svg} picture)
if(NOT picture MATCHES "^<svg .*>file seek</text>.*</svg>\n$")
  message(FATAL_ERROR "not a picture of the file seek\n${picture}")
endif()
