# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel

# The files that `cmake --install` installs: the library with its headers, a CMake package and a
# pkg-config file; the stand-ins of the two closed libraries; the reference application; the tools.
# Each is a component. debian/*.install puts the same files into packages.

include(CMakePackageConfigHelpers)

# Shipped parts can be built without the tests, and the installation does not need the tests.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
vantorel_install_manual_page(app/vantorel-app.1 application)
add_custom_target(shipped DEPENDS VantorelSystem vantorel-app
    manual_page_vantorel-app.1)
if(VANTOREL_SIMULATORS)
    add_dependencies(shipped kirocamera VantorelUI)
endif()
foreach(tool IN ITEMS vantorel-host vantorel-log)
    if(TARGET ${tool})
        add_dependencies(shipped ${tool} manual_page_${tool}.1)
    endif()
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VantorelSystem)
# The closed libraries' interfaces, which the public headers need. They go to a separate folder,
# since an integrator may have the makers' headers in the usual one.
set(sdk_dir ${CMAKE_INSTALL_INCLUDEDIR}/vantorel/sdk)

# Outside the loader's folders, the library finds the closed libraries in its own folder, both when
# an application is linked and when it is loaded, and the application finds the library.
set_target_properties(VantorelSystem PROPERTIES INSTALL_RPATH "$ORIGIN")
file(RELATIVE_PATH to_libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(vantorel-app PROPERTIES INSTALL_RPATH "$ORIGIN/${to_libraries}"
    # On the device the loader would search for folders of the machine that built it.
    BUILD_WITH_INSTALL_RPATH ${CMAKE_CROSSCOMPILING})
install(TARGETS VantorelSystem EXPORT VantorelSystemTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${sdk_dir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/vantorel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development
    FILES_MATCHING PATTERN "*.h" PATTERN private EXCLUDE PATTERN abi EXCLUDE)
install(FILES ${PROJECT_BINARY_DIR}/generated/vantorel/LibraryVersion.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantorel COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sdk/ DESTINATION ${sdk_dir}
    COMPONENT development FILES_MATCHING PATTERN "*.h")
install(EXPORT VantorelSystemTargets NAMESPACE Vantorel:: DESTINATION ${package_dir}
    COMPONENT development)

configure_package_config_file(cmake/package/VantorelSystemConfig.cmake.in
    ${PROJECT_BINARY_DIR}/package/VantorelSystemConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/VantorelSystemConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/package/VantorelSystemConfig.cmake
    ${PROJECT_BINARY_DIR}/package/VantorelSystemConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)
# The pkg-config files state the prefix relative to their own folder, so that an installation can be
# moved.
function(install_pkg_config_file name component)
    set(folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
    file(RELATIVE_PATH to_prefix ${folder} ${CMAKE_INSTALL_PREFIX})
    file(RELATIVE_PATH libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
    file(RELATIVE_PATH includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    string(REGEX REPLACE "/$" "" to_prefix ${to_prefix})
    configure_file(cmake/package/${name}.pc.in ${PROJECT_BINARY_DIR}/package/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endfunction()
install_pkg_config_file(VantorelSystem development)

if(VANTOREL_SIMULATORS)
    install(TARGETS kirocamera VantorelUI EXPORT VantorelSimulatorsTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT simulators
        INCLUDES DESTINATION ${sdk_dir} ${CMAKE_INSTALL_INCLUDEDIR}/vantorel/simulators)
    install(FILES simulators/camera/kirocamera_sim.h simulators/ui/VantorelUI_sim.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantorel/simulators COMPONENT simulators)
    install(EXPORT VantorelSimulatorsTargets NAMESPACE Vantorel:: DESTINATION ${package_dir}
        COMPONENT simulators)
    install_pkg_config_file(kirocamera simulators)
endif()
install(TARGETS vantorel-app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT application)

# The scripts that make an update, with the files that they need, under separate names.
set(scripts_dir ${CMAKE_INSTALL_DATADIR}/vantorel-tools)
file(RELATIVE_PATH to_scripts ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_PREFIX}/${scripts_dir})
install(PROGRAMS virtual-device/make-update virtual-device/make-gauge-stream
    DESTINATION ${scripts_dir} COMPONENT tools)
install(FILES virtual-device/gauge_streams.py DESTINATION ${scripts_dir} COMPONENT tools)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/package/version @ONLY
    CONTENT "#!/bin/sh\necho @PROJECT_VERSION@\n")
install(PROGRAMS ${PROJECT_BINARY_DIR}/package/version DESTINATION ${scripts_dir} COMPONENT tools)
foreach(script IN ITEMS make-update make-gauge-stream)
    set(link ${PROJECT_BINARY_DIR}/package/vantorel-${script})
    file(CREATE_LINK ${to_scripts}/${script} ${link} SYMBOLIC)
    install(FILES ${link} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    vantorel_install_manual_page(packaging/tools/vantorel-${script}.1 tools)
    add_dependencies(shipped manual_page_vantorel-${script}.1)
endforeach()

# The udev rule that gives access to a camera without root, and the shell's completions.
set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
if(TARGET vantorel-host)
    string(SUBSTRING ${vantorel_vendor_id} 2 4 usb_rule_vendor)
    configure_file(packaging/tools/60-vantorel.rules.in
        ${PROJECT_BINARY_DIR}/package/60-vantorel.rules @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/60-vantorel.rules
        DESTINATION lib/udev/rules.d COMPONENT tools)
endif()
foreach(tool IN ITEMS vantorel-host vantorel-log)
    if(TARGET ${tool})
        install(FILES packaging/tools/completion.bash DESTINATION ${completions} RENAME ${tool}
            COMPONENT tools)
    endif()
endforeach()
