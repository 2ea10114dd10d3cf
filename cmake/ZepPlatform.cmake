# What depends on the system that the library is built for:
#
#   ZEP_BACKEND              the name of the folders below src/platform and src/net that implement it
#   ZEP_OTHER_BACKENDS       the others, as a regular expression
#   ZEP_BACKEND_DEFINITIONS  what its system headers want to be told
#   ZEP_SYSTEM_LIBRARIES     what the library needs of the system
#   ZEP_SHARED_LINK_OPTIONS  how the shared library is linked; the caller adds the list of names
if(WIN32)
    set(ZEP_BACKEND win32)
    set(ZEP_OTHER_BACKENDS posix)
    # Windows 7; and printf as C99 has it, whatever the C runtime.
    set(ZEP_BACKEND_DEFINITIONS _WIN32_WINNT=0x0601 __USE_MINGW_ANSI_STDIO=1)
    set(ZEP_SYSTEM_LIBRARIES ws2_32 bcrypt)
    # What carries dllexport is exported and nothing else.
    set(ZEP_SHARED_LINK_OPTIONS -static-libgcc -Wl,--gc-sections)
else()
    find_package(Threads REQUIRED)
    set(ZEP_BACKEND posix)
    set(ZEP_OTHER_BACKENDS win32)
    # On 32-bit systems, too, files above 2 GiB and times after 2038.
    set(ZEP_BACKEND_DEFINITIONS _GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
    set(ZEP_SYSTEM_LIBRARIES Threads::Threads)
    set(ZEP_SHARED_LINK_OPTIONS
        -Wl,--gc-sections -Wl,-z,relro,-z,now
        # The receive thread outlives the shutdown of the library, so its code must stay.
        -Wl,-z,nodelete
        # Calls from one exported function to another need no table.
        -Wl,-Bsymbolic-functions -Wl,-z,noseparate-code)
endif()

# zep_add_posix(<target>): as much of POSIX as the tests and the demonstration use, where the system
# has none
function(zep_add_posix target)
    if(WIN32)
        set(shim ${PROJECT_SOURCE_DIR}/tests/support/win32)
        target_sources(${target} PRIVATE ${shim}/posix.cpp)
        target_include_directories(${target} BEFORE PUBLIC ${shim} ${PROJECT_SOURCE_DIR}/tests)
        target_compile_definitions(${target} PUBLIC _WIN32_WINNT=0x0601 __USE_MINGW_ANSI_STDIO=1)
        target_link_libraries(${target} PUBLIC ws2_32)
        target_link_options(${target} PUBLIC -Wl,--wrap=close)
    endif()
endfunction()
