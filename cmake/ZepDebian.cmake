# The Debian packages: the runtime component as libzep-mqtt-sdk<major>, its debug symbols as
# libzep-mqtt-sdk<major>-dbgsym, development and documentation as libzep-mqtt-sdk-dev.
set(debian_files ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(library libzep-mqtt-sdk${PROJECT_VERSION_MAJOR})

# A package has to name somebody; without a better word that is who made the commit.
execute_process(COMMAND git log -1 "--format=%cn <%ce>" WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE committer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
set(ZEP_MAINTAINER "${committer}" CACHE STRING "Maintainer of the packages, as name <address>")
if(NOT ZEP_MAINTAINER)
    message(FATAL_ERROR "A Debian package has a maintainer: -DZEP_MAINTAINER='name <address>'")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL
    runtime runtime_debian debug_debian development documentation development_debian)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ZEP_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# CPack has no variable for this field before CMake 3.31.
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional\nMulti-Arch: same")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Shared library.
An application creates a client for each broker connection and drives it by
calling its loop: there is no protocol thread, memory is bounded, and every
outcome is a status code. It speaks QoS 0, 1 and 2 both ways, with wills,
retained messages and automatic reconnection.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${debian_files}/symbols ${debian_files}/shlibs ${debian_files}/triggers)

# CPack can split the symbols off by itself, but writes the build folder's name into the package.
set(CPACK_DEBIAN_DEBUG_PACKAGE_NAME ${library}-dbgsym)
set(CPACK_DEBIAN_DEBUG_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_DEBUG_DESCRIPTION "Debug symbols of the shared library.
A debugger that is started in the folder of the sources finds them by itself.")
set(CPACK_DEBIAN_DEBUG_PACKAGE_DEPENDS "${library} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzep-mqtt-sdk-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Headers, static library and documentation.
Programs find the library by CMake (find_package) or pkg-config.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${library} (= ${PROJECT_VERSION}), libc6-dev | libc-dev")

# Which version of the package a program needs at least, by the names that it uses: every name
# stands in the record of the first release that had it.
file(GLOB records ${PROJECT_SOURCE_DIR}/tests/abi/exported_${PROJECT_VERSION_MAJOR}.*)
list(SORT records COMPARE NATURAL)
file(STRINGS ${PROJECT_SOURCE_DIR}/src/zep_mqtt_sdk.exports names)
set(symbols "libzep_mqtt_sdk.so.${PROJECT_VERSION_MAJOR} ${library} #MINVER#
* Build-Depends-Package: libzep-mqtt-sdk-dev\n")
set(node ZEP_MQTT_SDK_${PROJECT_VERSION_MAJOR})
set(recorded "")
foreach(record IN LISTS records)
    file(STRINGS ${record} names_then)
    string(REGEX REPLACE ".*/exported_" "" release ${record})
    if(NOT recorded)
        list(PREPEND names_then ${node})
    endif()
    list(REMOVE_ITEM names_then ${recorded})
    list(APPEND recorded ${names_then})
    list(TRANSFORM names_then REPLACE "(.+)" " \\1@${node} ${release}\n" OUTPUT_VARIABLE lines)
    string(APPEND symbols ${lines})
endforeach()
list(REMOVE_ITEM names ${recorded})
list(TRANSFORM names REPLACE "(.+)" " \\1@${node} ${PROJECT_VERSION}\n" OUTPUT_VARIABLE lines)
string(APPEND symbols ${lines})
file(WRITE ${debian_files}/symbols "${symbols}")
file(WRITE ${debian_files}/shlibs
    "libzep_mqtt_sdk ${PROJECT_VERSION_MAJOR} ${library} (>= ${PROJECT_VERSION})\n")
file(WRITE ${debian_files}/triggers "activate-noawait ldconfig\n")

# What every package has of its own below /usr/share. The time in the change log is the commit's.
string(TIMESTAMP package_time "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/debian/changelog.in ${debian_files}/changelog @ONLY)
execute_process(COMMAND gzip -9nf ${debian_files}/changelog COMMAND_ERROR_IS_FATAL ANY)
foreach(part RUNTIME DEBUG DEVELOPMENT)
    string(TOLOWER ${part}_debian component)
    set(package ${CPACK_DEBIAN_${part}_PACKAGE_NAME})
    install(FILES cmake/debian/copyright ${debian_files}/changelog.gz
        DESTINATION share/doc/${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
configure_file(cmake/debian/lintian-overrides.in ${debian_files}/overrides/${library} @ONLY)
install(FILES ${debian_files}/overrides/${library}
    DESTINATION share/lintian/overrides COMPONENT runtime_debian EXCLUDE_FROM_ALL)

# zep_at_packaging(<component> <command>...): run on the files that are about to be packed.
function(zep_at_packaging component)
    list(JOIN ARGN "\" \"" command)
    install(CODE "execute_process(COMMAND \"${command}\" COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()
set(staged \$ENV{DESTDIR}${CMAKE_INSTALL_FULL_LIBDIR})
zep_at_packaging(runtime_debian ${CMAKE_STRIP} --strip-unneeded --remove-section=.comment
    ${staged}/$<TARGET_FILE_NAME:zep_mqtt_sdk>)
zep_at_packaging(debug_debian ${PROJECT_SOURCE_DIR}/cmake/debian/split_debug.sh
    $<TARGET_FILE:zep_mqtt_sdk> \$ENV{DESTDIR}/usr/lib/debug)
zep_at_packaging(development_debian ${CMAKE_STRIP} --strip-debug --remove-section=.comment
    --enable-deterministic-archives ${staged}/$<TARGET_FILE_NAME:zep_mqtt_sdk_static>)

include(CPack)
foreach(component runtime debug development)
    cpack_add_component_group(${component})
endforeach()
cpack_add_component(runtime GROUP runtime)
cpack_add_component(runtime_debian GROUP runtime)
cpack_add_component(debug_debian GROUP debug)
cpack_add_component(development GROUP development)
cpack_add_component(documentation GROUP development)
cpack_add_component(development_debian GROUP development)
