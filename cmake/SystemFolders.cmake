# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Part of an installation, run by `cmake --install`: takes the path where the loader shall search, besides its own
# folders, out of what was installed when the libraries went into one of these folders.
#
# ZV_FILES as for SplitDebug.cmake. /usr/local/lib is not one of these: loaders search it where it is configured.
cmake_policy(PUSH)
cmake_policy(VERSION 3.25)

function(zv_forget_search_path)
  set(files "")
  set(system_folders ON)
  while(ARGN)
    list(POP_FRONT ARGN built folder)
    get_filename_component(folder ${folder} ABSOLUTE BASE_DIR ${CMAKE_INSTALL_PREFIX})
    get_filename_component(name ${built} NAME)
    list(APPEND files $ENV{DESTDIR}${folder}/${name})
    if(name MATCHES "^lib" AND NOT folder MATCHES "^(/usr)?/lib(32|64|x32)?(/[^/]+-linux-[^/]+)?$")
      set(system_folders OFF)
    endif()
  endwhile()
  if(system_folders)
    foreach(file IN LISTS files)
      file(RPATH_REMOVE FILE ${file})
    endforeach()
  endif()
endfunction()

zv_forget_search_path(${ZV_FILES})
cmake_policy(POP)
