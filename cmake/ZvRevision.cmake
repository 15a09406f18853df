# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# The section ".zevo.version" in every library and program: line 1 the revision, line 2 the
# repository and branch. It is written by the assembler, so it needs no tool after the link
# and looks the same on every architecture: PROGBITS, no flags, alignment 1, not loaded.

set(ZV_REVISION "" CACHE STRING "Revision number to stamp (empty: the count of commits)")
set(ZV_BRANCH_LABEL "" CACHE STRING "Label to stamp (empty: repository name, /branches/, branch name)")

set(ZV_REVISION_SOURCE ${PROJECT_BINARY_DIR}/generated/revision.S)
add_custom_target(zv_revision_source
  COMMAND ${CMAKE_COMMAND}
    -DSOURCE_DIR=${PROJECT_SOURCE_DIR} -DNAME=${PROJECT_NAME}
    -DREVISION=${ZV_REVISION} -DLABEL=${ZV_BRANCH_LABEL} -DOUTPUT=${ZV_REVISION_SOURCE}
    -P ${PROJECT_SOURCE_DIR}/cmake/WriteRevision.cmake
  BYPRODUCTS ${ZV_REVISION_SOURCE}
  COMMENT "Looking up the revision"
  VERBATIM)
add_library(zv_revision OBJECT ${ZV_REVISION_SOURCE})
set_source_files_properties(${ZV_REVISION_SOURCE} PROPERTIES GENERATED ON)
add_dependencies(zv_revision zv_revision_source)

function(zv_stamp_revision target)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:zv_revision>)
endfunction()
