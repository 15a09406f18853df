# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Every thread of every program pays for the library's thread-local memory: at most 2 KiB.
execute_process(COMMAND ${READELF} -lW ${LIBRARY} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
if(NOT headers MATCHES "\n +TLS +0x[0-9a-f]+ 0x[0-9a-f]+ 0x[0-9a-f]+ 0x[0-9a-f]+ (0x[0-9a-f]+)")
  message(FATAL_ERROR "no thread-local memory in:\n${headers}")
endif()
math(EXPR size "${CMAKE_MATCH_1}")
if(size GREATER 2048)
  message(FATAL_ERROR "${size} bytes of thread-local memory")
endif()
message(STATUS "${size} bytes of thread-local memory")
