# One interface target carries the warnings and the sanitizers of everything that is ours.
add_library(zep_compiler_options INTERFACE)
target_compile_options(zep_compiler_options INTERFACE
    $<$<BOOL:${ZEP_WARNINGS}>:-Wall;-Wextra;-Wshadow;-Wconversion;-Wformat=2>
    $<$<BOOL:${ZEP_WERROR}>:-Werror>
    # The same bytes wherever the folders are. A debugger that is started in the folder of the
    # sources finds them.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build)

if(ZEP_SANITIZE)
    target_compile_options(zep_compiler_options INTERFACE
        -fsanitize=${ZEP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(zep_compiler_options INTERFACE -fsanitize=${ZEP_SANITIZE})
endif()

# Coverage for libFuzzer; the targets themselves link its main program.
if(ZEP_BUILD_FUZZERS)
    target_compile_options(zep_compiler_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
