# `cpack` makes the Debian packages; scripts/package calls it for both architectures.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantorel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The libVantorelSystem engineers <engineers@vantorel.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL runtime development application)
if(VANTOREL_SIMULATORS)
    list(APPEND CPACK_COMPONENTS_ALL simulators)
endif()
if(TARGET vantorel-host OR TARGET vantorel-log)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Debug symbols in separate packages, PACKAGE-dbgsym.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_BUILD_SOURCE_DIRS ${PROJECT_SOURCE_DIR})
# Independent of the build's prefix.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

# Listed here, because dpkg-shlibdeps searches the installed packages, and no package of the device's
# architecture is installed.
set(run_time "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
set(control ${PROJECT_SOURCE_DIR}/cmake/package)
set(library "libvantorelsystem0 (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvantorelsystem0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
    "${run_time}, libatomic1 (>= 12), libkirocamera1, libvantorelui1")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "busybox | busybox-static, libubootenv-tool")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${control}/triggers ${control}/runtime/shlibs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "device services of a handheld thermal camera\nThe shared library: power, buttons, display, USB port, firmware update,\ndiagnostics log.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantorelsystem-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library}")
set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "development files of libVantorelSystem\nHeaders, the CMake package and the pkg-config file, for programs that use\nthe services of the library. The headers of the closed camera SDK and UI\nlibrary are in a folder of their own.")

set(CPACK_DEBIAN_SIMULATORS_PACKAGE_NAME vantorel-simulators)
set(CPACK_DEBIAN_SIMULATORS_PACKAGE_DEPENDS "${run_time}")
set(CPACK_DEBIAN_SIMULATORS_PACKAGE_PROVIDES "libkirocamera1, libvantorelui1")
set(CPACK_DEBIAN_SIMULATORS_PACKAGE_CONTROL_EXTRA
    ${control}/triggers ${control}/simulators/shlibs)
set(CPACK_COMPONENT_SIMULATORS_DESCRIPTION
    "stand-ins of the camera SDK and the UI library\nA camera with a moving scene and a user interface that draws, for work\nwithout the closed libraries.")

set(CPACK_DEBIAN_APPLICATION_PACKAGE_NAME vantorel-app)
set(CPACK_DEBIAN_APPLICATION_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_APPLICATION_PACKAGE_DEPENDS "${run_time}, ${library}")
set(CPACK_COMPONENT_APPLICATION_DESCRIPTION
    "reference application of libVantorelSystem\nThe whole device wired up, on the interfaces of the virtual device: the\nservices of the library, registered with one another and started. To be\ncopied and changed for a product.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vantorel-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${run_time}, libusb-1.0-0 (>= 2:1.0.26)")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "service tools for thermal cameras\nvantorel-host speaks to a camera on the USB port.")
if(TARGET vantorel-log) # not on the device
    set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "gnuplot-nox")
    string(APPEND CPACK_COMPONENT_TOOLS_DESCRIPTION
        "\nvantorel-log reads a camera's diagnostics log.")
endif()

# Every package has a change log and a copyright file.
set(changelog ${CMAKE_BINARY_DIR}/package/changelog)
configure_file(cmake/package/changelog.in ${changelog} @ONLY)
execute_process(COMMAND gzip -9nkf ${changelog} COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} COMPONENT)
    install(FILES ${changelog}.gz cmake/package/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
# Findings of lintian that are accepted, with the reason.
foreach(component IN ITEMS runtime simulators)
    string(TOUPPER ${component} COMPONENT)
    install(FILES ${control}/lintian/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
