# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Compiles the sources that a sanitizer build leaves out, so that both compilers compile every file
# without a warning. These are object libraries, because nothing needs to be linked.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    return()
endif()
file(GLOB read CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/app/*.cpp ${PROJECT_SOURCE_DIR}/examples/*.cpp
    ${PROJECT_SOURCE_DIR}/benchmarks/*.cpp)
list(FILTER read EXCLUDE REGEX "/QtSignal.cpp$") # needs a generated file
add_library(vantorel_read_only OBJECT ${read})
target_include_directories(vantorel_read_only PRIVATE ${PROJECT_SOURCE_DIR}/sdk
    ${PROJECT_SOURCE_DIR}/simulators/camera ${PROJECT_SOURCE_DIR}/simulators/ui)
target_link_libraries(vantorel_read_only PRIVATE vantorel_version vantorel_options)
vantorel_precompile(vantorel_read_only)
