# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# 32-bit ARM, hard float, cross-compiled; programs run through user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

if(NOT DEFINED ZV_GCC_VERSION)
  execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE ZV_GCC_VERSION
    OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(REGEX MATCH "^[0-9]+" ZV_GCC_VERSION "${ZV_GCC_VERSION}")
endif()
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc-${ZV_GCC_VERSION})
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++-${ZV_GCC_VERSION})

set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/arm-linux-gnueabihf)
