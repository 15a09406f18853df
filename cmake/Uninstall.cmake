# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# The counterpart of `cmake --install`: removes what the last installation from BUILD_FOLDER, and the last one of its
# debug information, put where they put it, and the folders that are left empty. The prefix and the folders
# right below it stay: they may be the system's. DESTDIR has to be what it was.
cmake_policy(VERSION 3.25)

# zv_remove_empty FOLDER TOP: that folder and those above it, as far as they are empty.
function(zv_remove_empty folder top)
  cmake_path(GET folder PARENT_PATH above)
  file(GLOB entries LIST_DIRECTORIES true "${folder}/*" "${folder}/.*")
  list(FILTER entries EXCLUDE REGEX "/\\.\\.?$")
  cmake_path(IS_PREFIX top "${above}" NORMALIZE inside)
  if(inside AND NOT above STREQUAL top AND NOT entries)
    file(REMOVE_RECURSE "${folder}")
    zv_remove_empty("${above}" "${top}")
  endif()
endfunction()

function(zv_uninstall manifest prefix)
  file(STRINGS ${prefix} top)
  set(top "$ENV{DESTDIR}${top}")
  file(STRINGS ${manifest} files)
  list(TRANSFORM files PREPEND "$ENV{DESTDIR}")
  file(REMOVE ${files})
  foreach(file IN LISTS files)
    cmake_path(GET file PARENT_PATH folder)
    if(IS_DIRECTORY "${folder}")
      zv_remove_empty("${folder}" "${top}")
    endif()
  endforeach()
  file(REMOVE ${manifest} ${prefix})
endfunction()

set(found OFF)
foreach(component "" _debug)
  if(EXISTS ${BUILD_FOLDER}/install_manifest${component}.txt)
    zv_uninstall(${BUILD_FOLDER}/install_manifest${component}.txt ${BUILD_FOLDER}/install_prefix${component}.txt)
    set(found ON)
  endif()
endforeach()
if(NOT found)
  message(FATAL_ERROR "zvOS: nothing was installed from ${BUILD_FOLDER}, or it was removed before")
endif()
