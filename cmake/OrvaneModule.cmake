# orvane_add_module(NAME model DEPS platform LIBS <third-party targets>)
# Makes the static library orvane_<name> (alias orvane::<name>) from the folder's .cpp files,
# and, when the folder has tests/, one GoogleTest executable discovered by CTest.

function(orvane_set_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wimplicit-fallthrough -Wnon-virtual-dtor)
    if(ORVANE_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
        # GCC 12 reports -Wrestrict (bug 105329) and -Wmaybe-uninitialized (on std::optional<std::string>
        # under the sanitizers) falsely inside libstdc++ at higher optimisation levels.
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
            target_compile_options(${target} PRIVATE -Wno-error=restrict -Wno-error=maybe-uninitialized)
        endif()
    endif()
endfunction()

function(orvane_add_module)
    cmake_parse_arguments(M "" "NAME" "DEPS;LIBS;TEST_LIBS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp"
                                        "${CMAKE_CURRENT_SOURCE_DIR}/detail/*.cpp")
    set(target orvane_${M_NAME})
    # A module that has only headers so far is an interface library; it becomes static with its first .cpp.
    if(sources)
        set(scope PUBLIC)
        add_library(${target} STATIC ${sources})
        orvane_set_warnings(${target})
    else()
        set(scope INTERFACE)
        add_library(${target} INTERFACE)
    endif()
    add_library(orvane::${M_NAME} ALIAS ${target})
    target_include_directories(${target} ${scope} "${PROJECT_SOURCE_DIR}")
    foreach(dep IN LISTS M_DEPS)
        target_link_libraries(${target} ${scope} orvane::${dep})
    endforeach()
    if(M_LIBS)
        target_link_libraries(${target} ${scope} ${M_LIBS})
    endif()

    if(ORVANE_BUILD_TESTS AND EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/tests")
        file(GLOB test_sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/tests/*.cpp")
        if(test_sources)
            set(test_target orvane_${M_NAME}_tests)
            add_executable(${test_target} ${test_sources})
            target_link_libraries(${test_target} PRIVATE ${target} orvane::testsupport GTest::gtest_main
                                  GTest::gmock ${M_TEST_LIBS})
            target_compile_definitions(${test_target} PRIVATE
                ORVANE_TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}/tests/data")
            orvane_set_warnings(${test_target})
            gtest_discover_tests(${test_target} DISCOVERY_MODE PRE_TEST PROPERTIES LABELS unit)
        endif()
    endif()
endfunction()
