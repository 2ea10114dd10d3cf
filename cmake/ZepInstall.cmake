# What is installed, as components: runtime (the shared library), development (headers, static
# library, what CMake and pkg-config look for) and documentation. `cmake --build <folder> --target
# uninstall` takes away what the last `cmake --install <folder>` has put somewhere.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zep_mqtt_sdk)

install(TARGETS zep_mqtt_sdk zep_mqtt_sdk_static EXPORT zep_mqtt_sdk
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

install(EXPORT zep_mqtt_sdk NAMESPACE zep_mqtt_sdk:: FILE zep_mqtt_sdk-targets.cmake
    DESTINATION ${package_dir} COMPONENT development)
write_basic_package_version_file(zep_mqtt_sdk-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/install/zep_mqtt_sdk-config.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/zep_mqtt_sdk-config-version.cmake
    DESTINATION ${package_dir} COMPONENT development)

# The file for pkg-config finds the prefix from its own place, so that a moved tree stays usable.
set(pc_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix ${pc_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_to_prefix ${pc_to_prefix})
file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
if(WIN32)
    set(pc_private_libs -lws2_32 -lbcrypt)
else()
    set(pc_private_libs ${CMAKE_THREAD_LIBS_INIT})
endif()
list(JOIN pc_private_libs " " pc_private_libs)
configure_file(cmake/install/zep_mqtt_sdk.pc.in zep_mqtt_sdk.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zep_mqtt_sdk.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(FILES README.md CHANGELOG.md SECURITY.md CONTRIBUTING.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(FILES examples/gateway.c examples/quickstart.c examples/client.h examples/client.cpp
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT documentation)

add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/install/uninstall.cmake
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR} VERBATIM)
