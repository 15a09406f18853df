# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs the quickest rows of a benchmark and looks at what was written.
#   cmake -DPROGRAM=... -DFOLDER=... -DFILTER=... -DROW=... -DPICTURE=... -DPAGE=... -P SmokeTest.cmake
# FILTER chooses the rows. One of them is to stand in the comma-separated values as ROW, in the picture as PICTURE
# and in the page as PAGE.
# The regular expressions write NUMBER for a number, with or without a fraction.

get_filename_component(name ${PROGRAM} NAME)
foreach(kind csv svg md)
  set(${kind} ${FOLDER}/${name}_smoke.${kind})
  file(REMOVE ${${kind}})
endforeach()
execute_process(COMMAND ${PROGRAM} --quick --filter ${FILTER} --csv ${csv} --svg ${svg} --markdown ${md}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${name} ended with ${result}\n${output}${error}")
endif()
foreach(expression ROW PAGE)
  string(REPLACE "NUMBER" "-?[0-9]+[.]?[0-9]*" ${expression} "${${expression}}")
endforeach()

function(expect_one expression file)
  file(STRINGS ${file} lines)
  set(rows ${lines})
  list(FILTER rows INCLUDE REGEX "${expression}")
  list(LENGTH rows count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one line like ${expression}, found ${count}\n${lines}")
  endif()
endfunction()

expect_one("${ROW}" ${csv})
expect_one("${PAGE}" ${md})
foreach(fact processor system compiler revision)
  expect_one("^# ${fact}: ." ${csv})
endforeach()

file(READ ${svg} picture)
if(NOT picture MATCHES "^<svg .*${PICTURE}.*</svg>\n$")
  message(FATAL_ERROR "not a picture with ${PICTURE}\n${picture}")
endif()
