# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Parts of an installation, run by `cmake --install`:
#   ZV_STEP strip    strips the installed programs and libraries, and links them to their debug information
#   ZV_STEP debug    installs that, each file under its build id
#
# ZV_ARCHIVES names installed archives, which lose theirs: no build id leads from a program to it.
# ZV_FILES names the files as they were built, each followed by the folder that it is installed to. The debug
# information is always split from what was built, so that both steps have the same, in whatever order they come.

# What is set here is seen by the parts that come after.
cmake_policy(PUSH)
cmake_policy(VERSION 3.25)

function(zv_run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed ERROR_VARIABLE complaint)
  if(failed)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "zvOS: ${command}: ${complaint}")
  endif()
endfunction()

function(zv_split built folder)
  execute_process(COMMAND ${ZV_READELF} -n ${built} OUTPUT_VARIABLE notes RESULT_VARIABLE failed)
  if(failed OR NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
    message(FATAL_ERROR "zvOS: ${built} has no build id")
  endif()
  set(room ".build-id/${CMAKE_MATCH_1}")
  set(symbols "${ZV_WORK_FOLDER}/${room}/${CMAKE_MATCH_2}.debug")
  file(MAKE_DIRECTORY ${ZV_WORK_FOLDER}/${room})
  # It takes its place whole: another installation from this build may be reading what it splits at the same time.
  string(RANDOM part)
  zv_run(${ZV_OBJCOPY} --only-keep-debug --compress-debug-sections=zlib ${built} ${symbols}.${part})
  file(RENAME ${symbols}.${part} ${symbols})

  if(ZV_STEP STREQUAL "debug")
    # DESTDIR is put in front of it.
    file(INSTALL DESTINATION ${CMAKE_INSTALL_PREFIX}/${ZV_DEBUG_FOLDER}/${room} TYPE FILE FILES ${symbols})
  else()
    get_filename_component(name ${built} NAME)
    get_filename_component(folder ${folder} ABSOLUTE BASE_DIR ${CMAKE_INSTALL_PREFIX})
    zv_run(${ZV_OBJCOPY} --strip-all --remove-section=.gnu_debuglink --add-gnu-debuglink=${symbols}
      $ENV{DESTDIR}${folder}/${name})
  endif()
endfunction()

while(ZV_FILES)
  list(POP_FRONT ZV_FILES file folder)
  zv_split(${file} ${folder})
endwhile()
if(ZV_STEP STREQUAL "strip")
  foreach(archive IN LISTS ZV_ARCHIVES)
    get_filename_component(archive ${archive} ABSOLUTE BASE_DIR ${CMAKE_INSTALL_PREFIX})
    zv_run(${ZV_OBJCOPY} --strip-debug --enable-deterministic-archives $ENV{DESTDIR}${archive})
  endforeach()
endif()
cmake_policy(POP)
