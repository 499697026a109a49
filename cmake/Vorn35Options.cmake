# The build options, and the compile options that all our targets share.

# A project that embeds us with add_subdirectory() gets the library and nothing else.
string(COMPARE EQUAL "${CMAKE_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}" vorn35_top_level)

option(VORN35_BUILD_TESTS "Build the tests (GoogleTest)" ${vorn35_top_level})
option(VORN35_BUILD_EXAMPLES "Build the examples" ${vorn35_top_level})
option(VORN35_BUILD_DEMO "Build the demo" ${vorn35_top_level})
option(VORN35_BUILD_BENCH "Build the benchmarks (Google Benchmark)" OFF)
option(VORN35_BUILD_FUZZ "Build the fuzzers (clang's libFuzzer)" OFF)
option(VORN35_BUILD_PROTOBUF "Build the typed layer over Protocol Buffers, if they are installed" ${vorn35_top_level})
option(VORN35_WERROR "Treat warnings in our own targets as errors" OFF)
option(BUILD_SHARED_LIBS "Let Vorn35::vorn be the shared library" OFF)
option(VORN35_CHECK_LOCKS "Abort the process when it violates the lock order (src/Vorn/lock_order.h)" OFF)
option(VORN35_PRECOMPILE "Precompile the standard headers; ignored with a compiler cache, which works better without" OFF)
set(VORN35_SANITIZE "" CACHE STRING "Sanitizers for all our targets, e.g. address,undefined or thread")

if(vorn35_top_level AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# All programs go to one directory, so that scripts can start examples and test programs from there.
set(VORN35_BIN_DIR ${PROJECT_BINARY_DIR}/bin)

# Gives a target our warnings, language mode and sanitizers. The sanitizers are PUBLIC: a program that links
# an instrumented library must link their runtime too.
function(vorn35_own_target target)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        RUNTIME_OUTPUT_DIRECTORY ${VORN35_BIN_DIR})
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic
        # Only clang checks the lock annotations, and only in C++.
        $<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wthread-safety>
        $<$<BOOL:${VORN35_WERROR}>:-Werror>)
    if(VORN35_CHECK_LOCKS)
        # PUBLIC: a test and the library must compile the same mutex class.
        target_compile_definitions(${target} PUBLIC $<BUILD_INTERFACE:VORN35_CHECK_LOCKS>)
    endif()
    if(VORN35_SANITIZE)
        set(flags -fsanitize=${VORN35_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_compile_options(${target}
            PUBLIC $<BUILD_INTERFACE:${flags}>
            # gcc's manual warns of false positives of the first under sanitizers; Boost causes some. The second says
            # that gcc's thread sanitizer does not model fences, which may cost a false report and no true one.
            PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized;-Wno-tsan>)
        target_link_options(${target} PUBLIC $<BUILD_INTERFACE:${flags}>)
    endif()
endfunction()

# Precompiles headers for a target, or reuses those of another one where that is built:
# vorn35_precompile(target REUSE_FROM other).
function(vorn35_precompile target)
    if(NOT VORN35_PRECOMPILE OR CMAKE_CXX_COMPILER_LAUNCHER)
        return()
    endif()
    if(NOT ARGV1 STREQUAL "REUSE_FROM")
        target_precompile_headers(${target} PRIVATE ${ARGN})
    elseif(TARGET ${ARGV2})
        target_precompile_headers(${target} ${ARGN})
    endif()
endfunction()
