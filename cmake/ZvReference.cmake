# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# The target "reference": HTML and manual pages from the comments of the public headers, in BUILD/reference.
find_program(ZV_DOXYGEN doxygen)
find_program(ZV_XSLTPROC xsltproc)
mark_as_advanced(ZV_DOXYGEN ZV_XSLTPROC)
if(NOT ZV_DOXYGEN OR NOT ZV_XSLTPROC)
  if(ZVOS_BUILD_REFERENCE)
    message(FATAL_ERROR "zvOS: the reference takes doxygen and xsltproc (Debian: packages of these names)")
  endif()
  return()
endif()

set(ZV_REFERENCE_FOLDER ${PROJECT_BINARY_DIR}/reference)
file(GLOB ZV_REFERENCE_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/zvOS/zvOS/*.h ${PROJECT_SOURCE_DIR}/zvLog/zvLog/*.h
  ${PROJECT_SOURCE_DIR}/zvOS/zvOS/*.hpp ${PROJECT_SOURCE_DIR}/zvOS/zvOS/cpp/*.hpp ${PROJECT_SOURCE_DIR}/docs/cpp.md
  ${PROJECT_SOURCE_DIR}/docs/guide/*.md ${PROJECT_SOURCE_DIR}/docs/reference/*)
set(all "")
if(ZVOS_BUILD_REFERENCE)
  set(all ALL)
endif()
add_custom_command(OUTPUT ${ZV_REFERENCE_FOLDER}/made
  COMMAND ${PROJECT_SOURCE_DIR}/docs/reference/build ${ZV_REFERENCE_FOLDER}
  COMMAND ${CMAKE_COMMAND} -E touch ${ZV_REFERENCE_FOLDER}/made
  DEPENDS ${ZV_REFERENCE_SOURCES}
  COMMENT "Making the reference"
  VERBATIM)
add_custom_target(reference ${all} DEPENDS ${ZV_REFERENCE_FOLDER}/made)

if(ZVOS_BUILD_REFERENCE AND ZVOS_INSTALL)
  install(DIRECTORY ${ZV_REFERENCE_FOLDER}/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT reference)
  install(DIRECTORY ${ZV_REFERENCE_FOLDER}/man/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT reference)
endif()
