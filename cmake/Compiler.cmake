# The flags that every target shares; a layer adds none of its own.
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Precompiled headers need these before a cached object is trusted.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
endif()

add_library(dms_flags INTERFACE)
target_include_directories(dms_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_definitions(dms_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_compile_options(dms_flags INTERFACE -Wall -Wextra -Wshadow -Wformat=2 -Wnon-virtual-dtor
    -Woverloaded-virtual -fno-strict-aliasing)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(dms_flags INTERFACE -fpch-preprocess)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # Optimised, GCC 12 takes std::string's operator+ for an overrun (GCC bug 105651).
    target_compile_options(dms_flags INTERFACE "$<$<CONFIG:RelWithDebInfo>:-Wno-array-bounds;-Wno-stringop-overflow>")
endif()
if(DMS_WERROR)
    target_compile_options(dms_flags INTERFACE -Werror)
endif()
if(DMS_FUZZ)
    # What leads the fuzzer to new code; its main function comes with the targets alone.
    target_compile_options(dms_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(DMS_SANITIZE)
    target_compile_options(dms_flags INTERFACE -fsanitize=${DMS_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(dms_flags INTERFACE -fsanitize=${DMS_SANITIZE})
else()
    target_compile_options(dms_flags INTERFACE -fstack-protector-strong)
    target_link_options(dms_flags INTERFACE -Wl,-z,relro,-z,now)
endif()
find_package(Threads REQUIRED)
target_link_libraries(dms_flags INTERFACE Threads::Threads)
