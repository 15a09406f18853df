# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Another provider of the libzvLog interface than the companion library:
#
#   -DZVLOG_PROVIDER=<library file>   with -DZVLOG_INCLUDE_DIR=<folder that holds zvLog/zvLog.h>
#   -DZVLOG_PROVIDER=<target>         a target of the project that includes this one
#
# ZVLOG_LIBRARY_NAME is what programs that use the installed package link it by, and ZVLOG_INCLUDE_DIR
# the folder of the headers that go into the package (a target's own, unless it is given).

if(TARGET ${ZVLOG_PROVIDER})
  set(ZVLOG_TARGET ${ZVLOG_PROVIDER})
  set(ZVLOG_INCLUDE_DIR "" CACHE PATH "Folder that holds zvLog/zvLog.h of the provider")
  if(NOT ZVLOG_INCLUDE_DIR)
    get_target_property(folders ${ZVLOG_PROVIDER} INTERFACE_INCLUDE_DIRECTORIES)
    foreach(folder IN LISTS folders)
      if(EXISTS ${folder}/zvLog/zvLog.h)
        set(ZVLOG_INCLUDE_DIR ${folder})
        break()
      endif()
    endforeach()
  endif()
  get_target_property(name ${ZVLOG_PROVIDER} OUTPUT_NAME)
  if(NOT name)
    set(name ${ZVLOG_PROVIDER})
  endif()
elseif(EXISTS ${ZVLOG_PROVIDER})
  set(ZVLOG_INCLUDE_DIR ${PROJECT_SOURCE_DIR}/zvLog CACHE PATH "Folder that holds zvLog/zvLog.h of the provider")
  add_library(zvLogProvider SHARED IMPORTED)
  set_target_properties(zvLogProvider PROPERTIES
    IMPORTED_LOCATION ${ZVLOG_PROVIDER}
    INTERFACE_INCLUDE_DIRECTORIES ${ZVLOG_INCLUDE_DIR})
  # Linked by its path, a library that says no name of its own would be needed by that path.
  execute_process(COMMAND ${CMAKE_READELF} -d ${ZVLOG_PROVIDER} OUTPUT_VARIABLE dynamic ERROR_QUIET)
  if(NOT dynamic MATCHES "SONAME")
    set_target_properties(zvLogProvider PROPERTIES IMPORTED_NO_SONAME ON)
  endif()
  set(ZVLOG_TARGET zvLogProvider)
  get_filename_component(name ${ZVLOG_PROVIDER} NAME)
  if(name MATCHES "^lib(.+)\\.so$")
    set(name ${CMAKE_MATCH_1})
  else()
    set(name ":${name}")
  endif()
else()
  message(FATAL_ERROR "ZVLOG_PROVIDER is neither 'companion', nor a target, nor a file: ${ZVLOG_PROVIDER}")
endif()
set(ZVLOG_LIBRARY_NAME ${name})
if(NOT EXISTS ${ZVLOG_INCLUDE_DIR}/zvLog/zvLog.h)
  message(STATUS "zvOS: the package has no <zvLog/zvLog.h>: name its folder with -DZVLOG_INCLUDE_DIR=")
  set(ZVLOG_INCLUDE_DIR "")
endif()
