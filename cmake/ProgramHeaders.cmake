# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# The header-only libraries of the PC programs: the argument parser and JSON.

# Adds them to a target. They suit every architecture, so a cross build uses those of the PC. Each
# is linked into a separate folder, because a compiler for another architecture must not see the
# folder with all headers of the PC.
function(vantorel_program_headers target)
    find_path(VANTOREL_CLI11_DIR CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH)
    find_path(VANTOREL_JSON_DIR nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH)
    if(NOT VANTOREL_CLI11_DIR OR NOT VANTOREL_JSON_DIR)
        message(FATAL_ERROR "vantorel-host and vantorel-log need the headers CLI/CLI.hpp and "
            "nlohmann/json.hpp: scripts/install-packages build installs them (or set "
            "VANTOREL_HOST_TOOL=OFF and VANTOREL_LOG_TOOL=OFF)")
    endif()
    set(headers ${PROJECT_BINARY_DIR}/program-headers)
    file(MAKE_DIRECTORY ${headers})
    file(CREATE_LINK ${VANTOREL_CLI11_DIR}/CLI ${headers}/CLI SYMBOLIC)
    file(CREATE_LINK ${VANTOREL_JSON_DIR}/nlohmann ${headers}/nlohmann SYMBOLIC)
    target_include_directories(${target} SYSTEM PRIVATE ${headers})
    target_link_libraries(${target} PRIVATE vantorel_version)
endfunction()
