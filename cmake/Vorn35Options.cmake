# Options, and what every target of ours is compiled with.

# A stranger who embeds us with add_subdirectory() gets the library and nothing else.
string(COMPARE EQUAL "${CMAKE_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}" vorn35_top_level)

option(VORN35_BUILD_TESTS "Build the tests (GoogleTest)" ${vorn35_top_level})
option(VORN35_BUILD_EXAMPLES "Build the examples" ${vorn35_top_level})
option(VORN35_BUILD_DEMO "Build the demo" ${vorn35_top_level})
option(VORN35_BUILD_BENCH "Build the benchmarks (Google Benchmark)" OFF)
option(VORN35_BUILD_FUZZ "Build the fuzzers (clang's libFuzzer)" OFF)
option(VORN35_WERROR "Treat warnings in our own targets as errors" OFF)
option(BUILD_SHARED_LIBS "Let Vorn35::vorn be the shared library" OFF)
option(VORN35_CHECK_LOCKS "End the process that takes locks against their order (src/Vorn/lock_order.h)" OFF)
set(VORN35_SANITIZE "" CACHE STRING "Sanitizers for all our targets, e.g. address,undefined or thread")

if(vorn35_top_level AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# Where every program goes, so that examples and test programs can be started from one directory.
set(VORN35_BIN_DIR ${PROJECT_BINARY_DIR}/bin)

# Gives a target of ours the warnings, the language mode and the sanitizers of this build. Sanitizers are
# PUBLIC: whatever links an instrumented library must link their runtime too.
function(vorn35_own_target target)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        RUNTIME_OUTPUT_DIRECTORY ${VORN35_BIN_DIR})
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic
        # Only clang knows the annotations of locks, and only C++ has them.
        $<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wthread-safety>
        $<$<BOOL:${VORN35_WERROR}>:-Werror>)
    if(VORN35_CHECK_LOCKS)
        # PUBLIC: a test that takes a lock of the library must take it as the library does.
        target_compile_definitions(${target} PUBLIC $<BUILD_INTERFACE:VORN35_CHECK_LOCKS>)
    endif()
    if(VORN35_SANITIZE)
        set(flags -fsanitize=${VORN35_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_compile_options(${target}
            PUBLIC $<BUILD_INTERFACE:${flags}>
            # gcc's own manual: with sanitizers this warning sees what is not there (in Boost, for one).
            PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized>)
        target_link_options(${target} PUBLIC $<BUILD_INTERFACE:${flags}>)
    endif()
endfunction()
