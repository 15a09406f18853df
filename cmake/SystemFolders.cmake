# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Part of an installation, run by `cmake --install`, for what goes into the system's folders:
#
# - Takes the path where the loader shall search, besides its own folders, out of what was installed. ZV_FILES as for
#   SplitDebug.cmake. /usr/local/lib is not one of these folders: loaders search it where it is configured.
# - Lets the files of pkg-config name the prefix /usr in place of counting from where they lie. Of a system for devices
#   in a folder, PKG_CONFIG_SYSROOT_DIR, the one pkg-config (0.29) puts that folder before what it has counted from there,
#   where it is already; the other (pkgconf) does not. Before /usr both put it once. ZV_PKGCONFIG_FILES has their places.
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

function(zv_name_prefix)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    foreach(file IN LISTS ARGN)
      set(file $ENV{DESTDIR}/usr/${file})
      file(READ ${file} text)
      string(REGEX REPLACE "\nprefix=[^\n]*" "\nprefix=/usr" text "${text}")
      file(WRITE ${file} "${text}")
    endforeach()
  endif()
endfunction()

zv_forget_search_path(${ZV_FILES})
zv_name_prefix(${ZV_PKGCONFIG_FILES})
cmake_policy(POP)
