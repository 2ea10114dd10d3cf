# What the tests need of the system that they run on.
#
#   ZEP_TESTS_ARE_NATIVE  whether they run on the system that builds them; through an emulator the
#                         functions and the client are tested, not the brokers and tools around them
#   ZEP_TEST_SYSTEM_HEADERS  what every test includes first
if(CMAKE_CROSSCOMPILING)
    set(ZEP_TESTS_ARE_NATIVE OFF)
    # Debian brings the sources, too; the library itself is there for the building system only.
    set(gtest_force_shared_crt ON)
    set(INSTALL_GTEST OFF)
    set(BUILD_GMOCK OFF)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    if(NOT TARGET GTest::gtest_main)
        add_library(GTest::gtest_main ALIAS gtest_main)
    endif()
else()
    set(ZEP_TESTS_ARE_NATIVE ON)
    find_package(GTest REQUIRED)
endif()

if(WIN32)
    set(ZEP_TEST_SYSTEM_HEADERS <support/win32/posix.h>)
endif()

# Some processors have no atomic operations of 64 bits; the tests count with them.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles(
    "#include <atomic>\nstd::atomic<unsigned long long> n; int main() { return n.fetch_add(1) != 0; }"
    ZEP_HAS_64_BIT_ATOMICS)

# zep_test_platform(<target>): the files, headers and link options of the system
function(zep_test_platform target)
    set(wrapped malloc calloc realloc free)
    if(WIN32)
        zep_add_posix(${target})
        target_sources(${target} PRIVATE
            ${PROJECT_SOURCE_DIR}/tests/support/win32/socket_calls.cpp)
        list(APPEND wrapped __imp_send __imp_recv __imp_select __imp_connect)
    else()
        list(APPEND wrapped send recv poll connect)
    endif()
    if(NOT ZEP_HAS_64_BIT_ATOMICS)
        target_link_libraries(${target} PUBLIC atomic)
    endif()
    list(TRANSFORM wrapped PREPEND "-Wl,--wrap=")
    target_link_options(${target} PUBLIC ${wrapped})
endfunction()
