# One CMake library per folder under src/, made of every .cpp in it. What it links is what it may include: a call to
# a layer above does not link.
function(dms_library name)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS *.cpp)
    if(sources)
        add_library(${name} STATIC ${sources})
        target_link_libraries(${name} PUBLIC dms_flags ${ARG_LINKS})
        target_precompile_headers(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/pch.h)
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE dms_flags ${ARG_LINKS})
    endif()
endfunction()

# For builds with a sanitizer: what a library loses is not ours, nor what it copies. GLib's locks are made of futexes that
# the thread checker cannot see, so all that libvips and its readers of pictures do on their threads looks like a race,
# so often that to suppress the reports takes for ever.
set(dms_sanitizer_options "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/cmake/leaks.supp:print_suppressions=0"
    "TSAN_OPTIONS=ignore_noninstrumented_modules=1")

# One test program per folder under tests/, named <folder>_test; TIMEOUT bounds each run.
function(dms_test name)
    cmake_parse_arguments(ARG "SERIAL" "TIMEOUT" "LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS *.cpp)
    if(NOT sources)
        return()
    endif()
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE dms_flags ${ARG_LINKS} GTest::gmock GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_compile_definitions(${name} PRIVATE DMS_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    target_precompile_headers(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/pch.h <gtest/gtest.h>)
    add_test(NAME ${name} COMMAND ${name})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} RUN_SERIAL ${ARG_SERIAL}
        ENVIRONMENT "${dms_sanitizer_options}")
endfunction()
