# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# The version stands in <zvOS/zvVersion.h>, where programs read it; the build takes it from there. To be
# included before project().

set(ZV_VERSION_HEADER ${CMAKE_CURRENT_LIST_DIR}/../zvOS/zvOS/zvVersion.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ZV_VERSION_HEADER})

file(STRINGS ${ZV_VERSION_HEADER} lines REGEX "^#define ZVOS_VERSION_(MAJOR|MINOR|PATCH) ")
if(NOT lines MATCHES "MAJOR ([0-9]+);.*MINOR ([0-9]+);.*PATCH ([0-9]+)$")
  message(FATAL_ERROR "No version of three numbers in ${ZV_VERSION_HEADER}")
endif()
set(ZV_VERSION ${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3})
unset(lines)
