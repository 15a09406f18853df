# Writes the assembler source of the revision stamp, only when its text changes.

if(NOT REVISION OR NOT LABEL)
  find_package(Git QUIET)
endif()
if(NOT REVISION)
  set(REVISION 0)
  if(GIT_FOUND)
    execute_process(COMMAND ${GIT_EXECUTABLE} -C ${SOURCE_DIR} rev-list --count HEAD
      OUTPUT_VARIABLE count OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
    if(NOT failed)
      set(REVISION ${count})
    endif()
  endif()
endif()
if(NOT LABEL)
  set(branch "unknown")
  if(GIT_FOUND)
    execute_process(COMMAND ${GIT_EXECUTABLE} -C ${SOURCE_DIR} rev-parse --abbrev-ref HEAD
      OUTPUT_VARIABLE name OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
    if(NOT failed AND NOT name STREQUAL "")
      set(branch ${name})
    endif()
  endif()
  set(LABEL "${NAME}/branches/${branch}")
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
