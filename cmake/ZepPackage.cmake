# What cpack makes: Debian packages, or a zip for Windows. `./run package` is the way to call it: it
# sets SOURCE_DATE_EPOCH, by which all times in a package are those of the commit.
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "zep_mqtt_sdk")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_PACKAGE_FILE_NAME
        ${PROJECT_NAME}-${PROJECT_VERSION}-windows-${CMAKE_SYSTEM_PROCESSOR})
    include(CPack)
else()
    include(ZepDebian)
endif()
