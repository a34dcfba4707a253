# Shared build helpers: warning flags, libraries, tests and benchmarks.
include(GoogleTest)

# Warnings are on and kept clean on every target of the project.
function(nv_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)
endfunction()

# nv_add_library(NAME SOURCES ... [PUBLIC_LIBS ...] [PRIVATE_LIBS ...] [INCLUDE_DIRS ...])
function(nv_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS;INCLUDE_DIRS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    nv_warnings(${name})
    if(ARG_INCLUDE_DIRS)
        target_include_directories(${name} PUBLIC ${ARG_INCLUDE_DIRS})
    endif()
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
endfunction()

# nv_add_test(NAME SOURCES ... [LIBS ...])
# One executable per library under test; every GoogleTest case becomes its own CTest entry so
# `ctest -j` spreads them over the cores. Discovery runs at test time to keep builds fast.
function(nv_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    nv_warnings(${name})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} nv_test_main GTest::gmock)
    gtest_discover_tests(${name}
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen;NV_BUILD_DIR=${CMAKE_BINARY_DIR}"
                   TIMEOUT 240)
endfunction()

# nv_add_benchmark(NAME SOURCES ... [LIBS ...])
function(nv_add_benchmark name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    nv_warnings(${name})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} benchmark::benchmark)
endfunction()
