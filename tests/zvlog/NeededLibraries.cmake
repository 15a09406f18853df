# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# The library needs the C library and the dynamic loader at run time, and nothing else.
#   cmake -DREADELF=... -DLIBRARY=... -P NeededLibraries.cmake
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*\\[[^]\n]*\\]" needed "${dynamic}")
if(NOT needed MATCHES "\\[libc\\.so\\.6\\]")
  message(FATAL_ERROR "the C library is missing:\n${dynamic}")
endif()
foreach(entry IN LISTS needed)
  if(NOT entry MATCHES "\\[(libc\\.so\\.6|ld-linux[^]]*)\\]")
    message(FATAL_ERROR "unexpected: ${entry}")
  endif()
endforeach()
message(STATUS "${needed}")
