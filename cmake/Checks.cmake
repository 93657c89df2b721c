# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Checks of the sources. The build fails when a source breaks one of these rules.

# Makes a target check that dependencies between subsystems run in one direction.
function(vantorel_check_layers target)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS
        ${PROJECT_SOURCE_DIR}/vantorel/*.h ${PROJECT_SOURCE_DIR}/vantorel/*.cpp)
    set(stamp ${PROJECT_BINARY_DIR}/layers.stamp)
    add_custom_command(OUTPUT ${stamp}
        COMMAND ${PROJECT_SOURCE_DIR}/cmake/check-layers ${PROJECT_SOURCE_DIR}
        COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
        DEPENDS ${sources} ${PROJECT_SOURCE_DIR}/cmake/check-layers
        COMMENT "Checking the order of the subsystems" VERBATIM)
    add_custom_target(${target}_layers ALL DEPENDS ${stamp})
endfunction()

# Compiles every header alone, except those that a source of the same name includes first.
function(vantorel_check_headers_alone target)
    set(probes)
    foreach(header IN LISTS ARGN)
        file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${header})
        string(REGEX REPLACE "\\.h$" ".cpp" source ${header})
        if(EXISTS ${source})
            file(STRINGS ${source} first REGEX "^#include" LIMIT_COUNT 1)
            if(first STREQUAL "#include \"${name}\"")
                continue()
            endif()
        endif()
        set(probe ${PROJECT_BINARY_DIR}/headers-alone/${name}.cpp)
        file(CONFIGURE OUTPUT ${probe} CONTENT "#include \"@name@\"\n" @ONLY)
        list(APPEND probes ${probe})
    endforeach()
    add_library(${target} OBJECT ${probes})
    target_link_libraries(${target} PRIVATE vantorel_options)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/sdk)
endfunction()

# Checks that the formatter would not change any source.
if(NOT VANTOREL_CHECK_FORMAT)
    return()
endif()
find_program(VANTOREL_CLANG_FORMAT clang-format)
if(VANTOREL_CLANG_FORMAT)
    set(formatted)
    foreach(folder IN ITEMS vantorel sdk simulators app examples tests host tools benchmarks)
        file(GLOB_RECURSE found CONFIGURE_DEPENDS
            ${PROJECT_SOURCE_DIR}/${folder}/*.h ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
        list(APPEND formatted ${found})
    endforeach()
    set(stamp ${PROJECT_BINARY_DIR}/format.stamp)
    add_custom_command(OUTPUT ${stamp}
        COMMAND ${VANTOREL_CLANG_FORMAT} --dry-run --Werror ${formatted}
        COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
        DEPENDS ${formatted} ${PROJECT_SOURCE_DIR}/.clang-format
        COMMENT "Checking the formatting" VERBATIM)
    add_custom_target(check_format ALL DEPENDS ${stamp})
else()
    message(WARNING "clang-format is not installed: the formatting is not checked")
endif()
