# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Compile options of every target in the project. Users of the package do not get them.

option(VANTOREL_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
# Only the presets enable these: neither the warnings of another compiler nor another version of the
# formatter must stop a user's build.
option(VANTOREL_WERROR "Treat warnings as errors" OFF)
option(VANTOREL_CHECK_FORMAT "Check the formatting of the sources" OFF)
option(VANTOREL_FUZZ "Build the fuzzers of tests/fuzz, too; needs clang" OFF)
option(VANTOREL_PRECOMPILE
    "Compile the standard headers once for each library; hides a missing one" OFF)
set(VANTOREL_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them")

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

find_package(Threads REQUIRED)

add_library(vantorel_options INTERFACE)
target_include_directories(vantorel_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(vantorel_options INTERFACE
    $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow>
    # Only the multiplications and additions written as std::fma() may fuse: the same readings must
    # come out on every machine.
    -ffp-contract=off
    $<$<BOOL:${VANTOREL_WERROR}>:-Werror>)
# 64-bit file offsets and times on 32-bit machines, for dates after 2038 and flash above 2 GiB.
target_compile_definitions(vantorel_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_libraries(vantorel_options INTERFACE Threads::Threads)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # psabi: g++ once changed how it passes arguments; no build here mixes compilers.
    # cast-align: report a cast to a stricter alignment even on a machine that permits the access.
    target_compile_options(vantorel_options INTERFACE -Wno-psabi -Wcast-align=strict)
endif()

# Shipped programs and libraries are hardened, since neither a USB host nor a file on the drive is
# trusted. Sanitizers have their own checks, and buffer checks need the optimizer.
if(NOT VANTOREL_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_options(vantorel_options INTERFACE
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection)
    target_link_options(vantorel_options INTERFACE
        -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
endif()

# Clang checks that each guarded member is used under its lock, see vantorel/service/Mutex.h.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(vantorel_options INTERFACE -Wthread-safety)
    target_compile_definitions(vantorel_options INTERFACE VANTOREL_CHECK_LOCKS)
endif()

if(VANTOREL_SANITIZE)
    target_compile_options(vantorel_options INTERFACE
        -fsanitize=${VANTOREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vantorel_options INTERFACE -fsanitize=${VANTOREL_SANITIZE})
endif()

if(VANTOREL_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "VANTOREL_FUZZ needs clang: use the preset asan")
    endif()
    target_compile_options(vantorel_options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(vantorel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Headers of the standard library take most of a file's compile time. The native build does not
# precompile them, so that it detects a missing include. Every build precompiles the additional
# headers, each of which takes seconds.
function(vantorel_precompile target)
    if(ARGN AND NOT VANTOREL_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    elseif(VANTOREL_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE
            <algorithm> <array> <atomic> <chrono> <cstring> <filesystem> <fstream> <functional>
            <future> <iostream> <map> <memory> <mutex> <optional> <sstream> <string> <string_view>
            <thread> <utility> <vector> ${ARGN})
    endif()
endfunction()

# Under a sanitizer, several sources of a library are compiled as one, because their common headers
# take most of the time. The native build compiles each alone, so that it detects a missing include.
function(vantorel_compile_together target)
    if(VANTOREL_SANITIZE)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 16)
    endif()
endfunction()

# For programs on the development machine: the header-only libraries for arguments and JSON take up
# to half a minute per file when they are optimized for speed and have debug information.
function(vantorel_compile_quickly target)
    target_compile_options(${target} PRIVATE "$<$<CONFIG:RelWithDebInfo>:-Os;-g1>")
endfunction()
