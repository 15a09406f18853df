# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# 32-bit x86 with SSE2 (every processor since 2004), on 64-bit Debian. The versioned compiler is used because the unversioned
# multilib package conflicts with every cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)

if(NOT DEFINED ZV_GCC_VERSION)
  execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE ZV_GCC_VERSION
    OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(REGEX MATCH "^[0-9]+" ZV_GCC_VERSION "${ZV_GCC_VERSION}")
endif()
set(CMAKE_C_COMPILER gcc-${ZV_GCC_VERSION})
set(CMAKE_CXX_COMPILER g++-${ZV_GCC_VERSION})

# The asm/ headers come from the 64-bit library's folder when the multilib package is versioned.
foreach(language C CXX ASM)
  set(CMAKE_${language}_FLAGS_INIT "-m32 -march=i686 -mtune=generic -msse2 -mfpmath=sse -idirafter /usr/include/x86_64-linux-gnu")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR "")
