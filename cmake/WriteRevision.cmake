# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Writes the assembler source of the revision stamp, only when its text changes.
#
# Git is believed only about a work tree of our own, not where a source archive was unpacked inside another
# repository. Such an archive has a file REVISION, with what git said when it was made.

function(ask_git variable)
  # The folder may belong to somebody else, as it does under sudo.
  execute_process(COMMAND ${GIT_EXECUTABLE} -c safe.directory=* -C ${SOURCE_DIR} ${ARGN}
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    set(answer "")
  endif()
  set(${variable} "${answer}" PARENT_SCOPE)
endfunction()

set(count 0)
set(branch unknown)
find_package(Git QUIET)
if(GIT_FOUND)
  ask_git(top rev-parse --show-toplevel)
  file(REAL_PATH "${SOURCE_DIR}" source)
  if("${top}" STREQUAL "${source}")
    ask_git(git_count rev-list --count HEAD)
    ask_git(git_branch rev-parse --abbrev-ref HEAD)
    if(git_count)
      set(count ${git_count})
      set(branch ${git_branch})
    endif()
  endif()
endif()

set(label "${NAME}/branches/${branch}")
if(NOT count AND EXISTS ${SOURCE_DIR}/REVISION)
  file(STRINGS ${SOURCE_DIR}/REVISION lines)
  list(GET lines 0 count)
  list(GET lines 1 label)
endif()

if("${REVISION}" STREQUAL "")
  set(REVISION ${count})
endif()
if("${LABEL}" STREQUAL "")
  set(LABEL ${label})
endif()

# "%progbits" is understood by the ARM assembler too, where '@' begins a comment.
set(text ".section .note.GNU-stack,\"\",%progbits
.section .zevo.version,\"\",%progbits
.ascii \"${REVISION}\\n${LABEL}\\n\"
")
set(old "")
if(EXISTS ${OUTPUT})
  file(READ ${OUTPUT} old)
endif()
if(NOT text STREQUAL old)
  file(WRITE ${OUTPUT} "${text}")
endif()
