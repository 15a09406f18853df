# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# 32-bit x86 by clang, over the headers and libraries of the multilib compiler.
include(${CMAKE_CURRENT_LIST_DIR}/i386.cmake)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
