# Another provider of the libzvLog interface than the companion library:
#
#   -DZVLOG_PROVIDER=<library file>   with -DZVLOG_INCLUDE_DIR=<folder that holds zvLog/zvLog.h>
#   -DZVLOG_PROVIDER=<target>         a target of the project that includes this one

set(ZVLOG_INCLUDE_DIR ${PROJECT_SOURCE_DIR}/zvLog CACHE PATH "Folder that holds zvLog/zvLog.h of the provider")

if(TARGET ${ZVLOG_PROVIDER})
  set(ZVLOG_TARGET ${ZVLOG_PROVIDER})
elseif(EXISTS ${ZVLOG_PROVIDER})
  add_library(zvLogProvider SHARED IMPORTED)
  set_target_properties(zvLogProvider PROPERTIES
    IMPORTED_LOCATION ${ZVLOG_PROVIDER}
    INTERFACE_INCLUDE_DIRECTORIES ${ZVLOG_INCLUDE_DIR})
  set(ZVLOG_TARGET zvLogProvider)
else()
  message(FATAL_ERROR "ZVLOG_PROVIDER is neither 'companion', nor a target, nor a file: ${ZVLOG_PROVIDER}")
endif()
