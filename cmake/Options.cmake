# Build options and the flags that every target of this project shares.

option(QZ_BUILD_TESTS "Build tests and examples" ${PROJECT_IS_TOP_LEVEL})
option(QZ_BUILD_BENCHMARKS "Build micro-benchmarks" OFF)
option(QZ_BUILD_FUZZERS "Build libFuzzer targets (needs clang)" OFF)
option(QZ_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)
set(QZ_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined or thread")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

find_program(QZ_CCACHE ccache)
if(QZ_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QZ_CCACHE})
endif()

add_library(qz_warnings INTERFACE)
target_compile_options(qz_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
  -Wdouble-promotion -Wimplicit-fallthrough
  $<$<BOOL:${QZ_WARNINGS_AS_ERRORS}>:-Werror>)

if(QZ_SANITIZE)
  add_compile_options(-fsanitize=${QZ_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QZ_SANITIZE})
endif()
