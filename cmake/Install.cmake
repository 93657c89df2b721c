# What `cmake --install` puts where: the library with its headers, a CMake package and a pkg-config
# file; the stand-ins of the two closed libraries; the reference application; the tools. Each in
# the component that becomes the Debian package of the same purpose (cmake/Packages.cmake).

include(CMakePackageConfigHelpers)

# What is shipped can be built without the tests, and installing it does not ask for them.
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
# The closed libraries' interfaces, which the public headers need. Apart from the headers of their
# makers, which an integrator may have in the same place.
set(sdk_dir ${CMAKE_INSTALL_INCLUDEDIR}/vantorel/sdk)

install(TARGETS VantorelSystem EXPORT VantorelSystemTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${sdk_dir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/vantorel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development
    FILES_MATCHING PATTERN "*.h" PATTERN private EXCLUDE PATTERN abi EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sdk/ DESTINATION ${sdk_dir}
    COMPONENT development FILES_MATCHING PATTERN "*.h")
install(EXPORT VantorelSystemTargets NAMESPACE Vantorel:: DESTINATION ${package_dir}
    COMPONENT development)

configure_package_config_file(cmake/package/VantorelSystemConfig.cmake.in
    ${CMAKE_BINARY_DIR}/package/VantorelSystemConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/VantorelSystemConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_BINARY_DIR}/package/VantorelSystemConfig.cmake
    ${CMAKE_BINARY_DIR}/package/VantorelSystemConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)
configure_file(cmake/package/VantorelSystem.pc.in ${CMAKE_BINARY_DIR}/package/VantorelSystem.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/VantorelSystem.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(VANTOREL_SIMULATORS)
    install(TARGETS kirocamera VantorelUI EXPORT VantorelSimulatorsTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT simulators
        INCLUDES DESTINATION ${sdk_dir} ${CMAKE_INSTALL_INCLUDEDIR}/vantorel/simulators)
    install(FILES simulators/camera/kirocamera_sim.h simulators/ui/VantorelUI_sim.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantorel/simulators COMPONENT simulators)
    install(EXPORT VantorelSimulatorsTargets NAMESPACE Vantorel:: DESTINATION ${package_dir}
        COMPONENT simulators)
endif()
install(TARGETS vantorel-app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT application)
