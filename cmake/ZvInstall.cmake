# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Installs libraries, headers and packages: find_package(zvOS) and pkg-config zvOS.
include(CMakePackageConfigHelpers)

set(ZV_CMAKE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/zvOS)

set(ZV_INSTALLED_TARGETS zvOS)
if(TARGET zvLog)
  list(APPEND ZV_INSTALLED_TARGETS zvLog)
  set(ZV_PKGCONFIG_LOG "-lzvLog")
else()
  # The headers of this library include the provider's, so the package has that one too; who installs
  # it installs the provider itself.
  set(ZV_PKGCONFIG_LOG "-l${ZVLOG_LIBRARY_NAME}")
  if(ZVLOG_INCLUDE_DIR)
    install(DIRECTORY ${ZVLOG_INCLUDE_DIR}/zvLog DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
      FILES_MATCHING PATTERN "*.h" PATTERN private EXCLUDE)
  endif()
  message(STATUS "zvOS: left out of the package: the log provider itself, which programs link as '-l${ZVLOG_LIBRARY_NAME}'")
endif()

set(ZV_ARCHIVES "")
foreach(target zvOSStatic zvLogStatic)
  if(TARGET ${target})
    list(APPEND ZV_INSTALLED_TARGETS ${target})
    list(APPEND ZV_ARCHIVES ${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:${target}>)
  endif()
endforeach()

# What is installed is stripped, with a link to its debug information. That is the component "debug", which is not
# installed with the rest: `cmake --install FOLDER --component debug`.
set(ZV_STRIPPED_FILES "")
foreach(target zvOS zvLog zvos)
  if(TARGET ${target})
    set(folder ${CMAKE_INSTALL_LIBDIR})
    if(target STREQUAL "zvos")
      set(folder ${CMAKE_INSTALL_BINDIR})
    endif()
    string(APPEND ZV_STRIPPED_FILES " \"$<TARGET_FILE:${target}>\" \"${folder}\"")
  endif()
endforeach()
if(ZVOS_STRIP AND (NOT CMAKE_OBJCOPY OR NOT CMAKE_READELF))
  set(ZVOS_STRIP OFF)
  message(STATUS "zvOS: installed as built, without separate debug information: no objcopy or readelf")
endif()

install(TARGETS ${ZV_INSTALLED_TARGETS} EXPORT zvOSTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zvOSTargets NAMESPACE zvOS:: DESTINATION ${ZV_CMAKE_FOLDER})

write_basic_package_version_file(${PROJECT_BINARY_DIR}/generated/zvOSConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zvOSConfig.cmake.in
  ${PROJECT_BINARY_DIR}/generated/zvOSConfig.cmake INSTALL_DESTINATION ${ZV_CMAKE_FOLDER})
install(FILES ${PROJECT_BINARY_DIR}/generated/zvOSConfig.cmake
  ${PROJECT_BINARY_DIR}/generated/zvOSConfigVersion.cmake DESTINATION ${ZV_CMAKE_FOLDER})

# From the folder of the .pc file to the prefix, so that the tree may be moved.
set(ZV_PKGCONFIG_FOLDER ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZV_PKGCONFIG_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
set(ZV_PKGCONFIG_FILES ${ZV_PKGCONFIG_FOLDER}/zvOS.pc)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zvOS.pc.in ${PROJECT_BINARY_DIR}/generated/zvOS.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/zvOS.pc DESTINATION ${ZV_PKGCONFIG_FOLDER})
if(ZVOS_STATIC)
  # The archives by their whole names: where the shared libraries lie beside them, "-lzvOS" would mean those. Not by
  # their paths, which pkg-config hands out without the folder of a system for devices.
  set(ZV_PKGCONFIG_ARCHIVES "-l:libzvOS.a")
  if(TARGET zvLogStatic)
    string(APPEND ZV_PKGCONFIG_ARCHIVES " -l:libzvLog.a")
  else()
    string(APPEND ZV_PKGCONFIG_ARCHIVES " ${ZV_PKGCONFIG_LOG}")
  endif()
  list(APPEND ZV_PKGCONFIG_FILES ${ZV_PKGCONFIG_FOLDER}/zvOS-static.pc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/zvOS-static.pc.in ${PROJECT_BINARY_DIR}/generated/zvOS-static.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/generated/zvOS-static.pc DESTINATION ${ZV_PKGCONFIG_FOLDER})
endif()

# In the folders that every loader searches by itself, a path that the loader shall search is only in the way of who
# wants other libraries to be found.
install(CODE "
  set(ZV_FILES ${ZV_STRIPPED_FILES})
  set(ZV_PKGCONFIG_FILES \"${ZV_PKGCONFIG_FILES}\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/SystemFolders.cmake\")")

if(ZVOS_STRIP)
  set(ZV_SPLIT_SETTINGS "
    set(ZV_OBJCOPY \"${CMAKE_OBJCOPY}\")
    set(ZV_READELF \"${CMAKE_READELF}\")
    set(ZV_DEBUG_FOLDER \"${CMAKE_INSTALL_LIBDIR}/debug\")
    set(ZV_WORK_FOLDER \"${PROJECT_BINARY_DIR}/debug-files\")
    set(ZV_FILES ${ZV_STRIPPED_FILES})")
  install(CODE "${ZV_SPLIT_SETTINGS}
    set(ZV_STEP strip)
    set(ZV_ARCHIVES \"${ZV_ARCHIVES}\")
    include(\"${CMAKE_CURRENT_LIST_DIR}/SplitDebug.cmake\")")
  install(CODE "${ZV_SPLIT_SETTINGS}
    set(ZV_STEP debug)
    include(\"${CMAKE_CURRENT_LIST_DIR}/SplitDebug.cmake\")" COMPONENT debug EXCLUDE_FROM_ALL)
endif()

if(PROJECT_IS_TOP_LEVEL)
  # Where to, for the way back.
  install(CODE "file(WRITE \"${PROJECT_BINARY_DIR}/install_prefix.txt\" \"\${CMAKE_INSTALL_PREFIX}\")")
  install(CODE "file(WRITE \"${PROJECT_BINARY_DIR}/install_prefix_debug.txt\" \"\${CMAKE_INSTALL_PREFIX}\")"
    COMPONENT debug EXCLUDE_FROM_ALL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DBUILD_FOLDER=${PROJECT_BINARY_DIR} -P ${CMAKE_CURRENT_LIST_DIR}/Uninstall.cmake
    COMMENT "Removing what was installed"
    VERBATIM)
endif()
