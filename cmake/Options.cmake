# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Compile options of every target in the project. Users of the package do not get them.

option(VANTOREL_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
# On in the presets alone: the warnings of another compiler must not stop a user's build, nor the
# differences of another formatter.
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
# File offsets and times of 64 bits on 32-bit machines: dates past 2038, flash larger than 2 GiB.
target_compile_definitions(vantorel_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_libraries(vantorel_options INTERFACE Threads::Threads)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Remarks on how g++ changed passing arguments years ago; no mixed compilers here.
    # Reports a cast to a stricter alignment on every machine, also on one that permits the access.
    target_compile_options(vantorel_options INTERFACE -Wno-psabi -Wcast-align=strict)
endif()

# Programs and libraries that are shipped are hardened: a USB host and a file on the drive are not
# trusted. Sanitizers have their own checks, and checks of buffers need the optimizer.
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
# precompile them, so that it finds a file with a missing include. Every build precompiles the
# further headers, which take seconds each.
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

# For programs of the development machine: header-only libraries for arguments and JSON take up to
# half a minute per file when compiled for speed and with debug information.
function(vantorel_compile_quickly target)
    target_compile_options(${target} PRIVATE "$<$<CONFIG:RelWithDebInfo>:-Os;-g1>")
endfunction()
