# One place for everything that holds for every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(ORV_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, 'address,undefined' or 'thread'")
option(ORV_BENCH "Build the benchmarks" OFF)
option(ORV_FUZZ "Build the libFuzzer targets (clang only)" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Werror)
# GCC 12 sees overlaps in the standard library's string operations that cannot be (GCC bug 105651). Only optimised builds
# show them, so the everyday build's objects stay as they are.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13 AND CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-Wno-restrict)
endif()
# Functions of the libraries are not replaced by a program's, so that they can be inlined; nobody reads errno after a
# mathematical function, or traps floating-point exceptions. Results stay the same, bit for bit.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-fno-semantic-interposition -fno-math-errno -fno-trapping-math)
endif()
# Several source files may be compiled as one (the presets do so): a fraction of the time, as headers are read once. Each
# target's files are taken in groups of this many: larger groups make a cold build faster, smaller ones a build after an edit.
if(CMAKE_UNITY_BUILD)
  set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-subobject-linkage)  # GCC treats the files of a group as headers
  endif()
endif()
# Source paths in log and error texts are the project's, not the machine's.
# The second form is how the compiler cache, which serves every checkout, names them.
file(RELATIVE_PATH ORV_SOURCE_FROM_BUILD ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})
string(REGEX REPLACE "/$" "" ORV_SOURCE_FROM_BUILD ${ORV_SOURCE_FROM_BUILD})
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${ORV_SOURCE_FROM_BUILD}/=)
if(ORV_SANITIZE)
  add_compile_options(-fsanitize=${ORV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -O1 -g1)
  add_link_options(-fsanitize=${ORV_SANITIZE})
endif()
# The program reads what strangers send: an overrun buffer ends it instead of running their code. Sanitizers find more, and
# do not go together with these. Fortified functions of the C library need an optimised build.
if(NOT ORV_SANITIZE)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
  add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  endif()
endif()
if(ORV_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_program(ORV_MOLD mold)
if(ORV_MOLD)
  add_link_options(-fuse-ld=mold)
endif()

# Programs, the host library, the plug-in and the data model lie as they do in an installed tree,
# so that the host finds the data model beside itself.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
