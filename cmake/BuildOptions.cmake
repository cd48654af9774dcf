# Warnings and sanitizers, in one target that everything of ours links and nothing of ours exports.

set(ORVEL_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them (address,undefined or thread)")
option(ORVEL_COVERAGE "Instrument for coverage" OFF)
option(ORVEL_WARNINGS_AS_ERRORS "Treat warnings as errors" ${PROJECT_IS_TOP_LEVEL})

add_library(orvel_build_options INTERFACE)
target_compile_options(orvel_build_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wnon-virtual-dtor
  -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough -Wextra-semi -Wvla
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wuseless-cast>
  # With -O3, g++ 12 takes the standard library's own joining of texts for an overlap.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<BOOL:${ORVEL_WARNINGS_AS_ERRORS}>:-Werror>)

if(ORVEL_SANITIZE)
  target_compile_options(orvel_build_options INTERFACE
    -fsanitize=${ORVEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvel_build_options INTERFACE -fsanitize=${ORVEL_SANITIZE})
endif()
if(ORVEL_COVERAGE)
  target_compile_options(orvel_build_options INTERFACE --coverage)
  target_link_options(orvel_build_options INTERFACE --coverage)
endif()
