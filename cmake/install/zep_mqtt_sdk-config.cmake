# find_package(zep_mqtt_sdk) gives the targets zep_mqtt_sdk::zep_mqtt_sdk, the shared library, and
# zep_mqtt_sdk::static.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/zep_mqtt_sdk-targets.cmake)

# CMake knows that the static library is made of C++; that it can be linked without the C++ runtime
# library, and so into a C program without a C++ compiler, it has to be told.
get_target_property(_zep_configurations zep_mqtt_sdk::static IMPORTED_CONFIGURATIONS)
foreach(_zep_configuration IN LISTS _zep_configurations)
    set_target_properties(zep_mqtt_sdk::static PROPERTIES
        IMPORTED_LINK_INTERFACE_LANGUAGES_${_zep_configuration} C)
endforeach()
unset(_zep_configurations)
