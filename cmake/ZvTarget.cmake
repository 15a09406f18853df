# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# How every target of this repository is compiled and linked.
#
# zv_target(<target>)          warnings, hardening, sanitizers, reproducible paths, revision stamp
# zv_library(<target>)         the same for a shared library of the product: hidden names,
#                              direct binding of its own calls, no C++ run-time library
# zv_static_library(<target> <library> <source>...)  such a library as an archive, for programs that contain it

set(ZV_SANITIZERS "" CACHE STRING "Comma-separated sanitizers: address,undefined or thread")

add_library(zv_options INTERFACE)

target_compile_features(zv_options INTERFACE cxx_std_17 c_std_99)
target_compile_definitions(zv_options INTERFACE
  _GNU_SOURCE
  # File offsets are 64 bits wide on every target.
  _FILE_OFFSET_BITS=64)

# Warnings are errors where we build, and nobody else's trouble with another compiler.
if(ZVOS_WERROR)
  set(ZV_WERROR -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(ZV_GCC_WARNINGS -Wduplicated-cond -Wduplicated-branches -Wlogical-op)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Who touches what a lock guards holds the lock (zvOS/private/LockAnnotations.h).
  set(ZV_CLANG_WARNINGS -Wthread-safety)
endif()

# Of a link that makes code, too: it names the folders anew.
set(ZV_SOURCE_PATHS
  # Source paths in messages and debug information are relative to the source folder.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
  -ffile-prefix-map=${PROJECT_BINARY_DIR}=build
  # In debug information they count from that folder too, not from the one that the compiler worked in.
  -fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.
  -fdebug-prefix-map=${PROJECT_BINARY_DIR}=.)

target_compile_options(zv_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wundef
  -Wformat=2 -Wcast-align -Wcast-qual -Wdouble-promotion -Wpointer-arith -Wwrite-strings
  -Wmissing-declarations ${ZV_GCC_WARNINGS} ${ZV_CLANG_WARNINGS}
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  ${ZV_WERROR}
  ${ZV_SOURCE_PATHS}
  -fvisibility=hidden
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
  -fstack-protector-strong
  # Back-traces walk through our code on every architecture.
  -funwind-tables
  # The ABI changed in GCC 7; everything here is built by one compiler.
  $<$<COMPILE_LANGUAGE:CXX>:-Wno-psabi>)
target_link_options(zv_options INTERFACE
  LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:-z,text LINKER:--as-needed
  # What a crash report and its debug information find each other by.
  LINKER:--build-id=sha1)

if(ZV_SANITIZERS)
  target_compile_options(zv_options INTERFACE
    -fsanitize=${ZV_SANITIZERS} -fno-omit-frame-pointer)
  target_link_options(zv_options INTERFACE -fsanitize=${ZV_SANITIZERS})
  if(ZV_SANITIZERS MATCHES undefined)
    target_compile_options(zv_options INTERFACE -fno-sanitize-recover=undefined)
  endif()
else()
  # Fortified libc calls would hide calls from the sanitizers, hence only here.
  target_compile_options(zv_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()

function(zv_target target)
  # Who links an installed archive knows nothing of these.
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:zv_options>)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF C_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_link_options(${target} PRIVATE -pie)
  endif()
  if(type MATCHES "EXECUTABLE|SHARED_LIBRARY|MODULE_LIBRARY")
    zv_stamp_revision(${target})
  endif()
endfunction()

set(ZV_NO_CXX_RUNTIME
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
  $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)

function(zv_library target)
  zv_target(${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    # The C compiler driver links, so that no C++ run-time library comes along.
    LINKER_LANGUAGE C)
  target_compile_options(${target} PRIVATE
    ${ZV_NO_CXX_RUNTIME}
    -fno-semantic-interposition
    -fno-plt)
  target_link_options(${target} PRIVATE LINKER:-Bsymbolic-functions LINKER:-z,defs -static-libgcc)
endfunction()

# Position-independent like everything here: it may become part of a shared library. It has no revision stamp; what
# it becomes part of has its own.
function(zv_static_library target library)
  add_library(${target} STATIC ${ARGN})
  zv_target(${target})
  get_target_property(headers ${library} HEADER_DIRS)
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${library} EXPORT_NAME ${library}Static LINKER_LANGUAGE C)
  target_compile_options(${target} PRIVATE ${ZV_NO_CXX_RUNTIME})
  target_include_directories(${target}
    PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}
    INTERFACE $<BUILD_INTERFACE:${headers}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  add_library(${library}::${library}Static ALIAS ${target})
endfunction()
