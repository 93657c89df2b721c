# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# Installs a manual page, compressed as the distribution requires.
function(vantorel_install_manual_page page component)
    get_filename_component(name ${page} NAME)
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
    add_custom_command(OUTPUT ${compressed}
        COMMAND gzip -9nc ${CMAKE_CURRENT_SOURCE_DIR}/${page} > ${compressed}
        DEPENDS ${page} VERBATIM)
    add_custom_target(manual_page_${name} ALL DEPENDS ${compressed})
    install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
endfunction()
