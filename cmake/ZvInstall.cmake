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

# What is installed is stripped, with a link to its debug information. That is the component "debug", which is not
# installed with the rest: `cmake --install FOLDER --component debug`.
set(ZV_STRIPPED_FILES "")
foreach(target IN LISTS ZV_INSTALLED_TARGETS)
  string(APPEND ZV_STRIPPED_FILES " \"$<TARGET_FILE:${target}>\" \"${CMAKE_INSTALL_LIBDIR}\"")
endforeach()
if(TARGET zvos)
  string(APPEND ZV_STRIPPED_FILES " \"$<TARGET_FILE:zvos>\" \"${CMAKE_INSTALL_BINDIR}\"")
endif()
if(NOT CMAKE_OBJCOPY OR NOT CMAKE_READELF)
  message(STATUS "zvOS: installed as built, without separate debug information: no objcopy or readelf")
endif()

install(TARGETS ${ZV_INSTALLED_TARGETS} EXPORT zvOSTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zvOSTargets NAMESPACE zvOS:: DESTINATION ${ZV_CMAKE_FOLDER})

write_basic_package_version_file(${PROJECT_BINARY_DIR}/generated/zvOSConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zvOSConfig.cmake.in
  ${PROJECT_BINARY_DIR}/generated/zvOSConfig.cmake INSTALL_DESTINATION ${ZV_CMAKE_FOLDER})
install(FILES ${PROJECT_BINARY_DIR}/generated/zvOSConfig.cmake
  ${PROJECT_BINARY_DIR}/generated/zvOSConfigVersion.cmake DESTINATION ${ZV_CMAKE_FOLDER})

# From the folder of the .pc file to the prefix, so that the tree may be moved.
file(RELATIVE_PATH ZV_PKGCONFIG_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/zvOS.pc.in ${PROJECT_BINARY_DIR}/generated/zvOS.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/zvOS.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(CMAKE_OBJCOPY AND CMAKE_READELF)
  set(ZV_SPLIT_SETTINGS "
    set(ZV_OBJCOPY \"${CMAKE_OBJCOPY}\")
    set(ZV_READELF \"${CMAKE_READELF}\")
    set(ZV_DEBUG_FOLDER \"${CMAKE_INSTALL_LIBDIR}/debug\")
    set(ZV_WORK_FOLDER \"${PROJECT_BINARY_DIR}/debug-files\")
    set(ZV_FILES ${ZV_STRIPPED_FILES})")
  install(CODE "${ZV_SPLIT_SETTINGS}
    set(ZV_STEP strip)
    include(\"${CMAKE_CURRENT_LIST_DIR}/SplitDebug.cmake\")")
  install(CODE "${ZV_SPLIT_SETTINGS}
    set(ZV_STEP debug)
    include(\"${CMAKE_CURRENT_LIST_DIR}/SplitDebug.cmake\")" COMPONENT debug EXCLUDE_FROM_ALL)
endif()
