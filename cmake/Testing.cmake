# Tests are Windows programs. CTest runs them through the emulator script, in a Wine prefix that nothing else uses.
find_program(TV_WINE NAMES wine64 wine PATHS /usr/lib/wine REQUIRED)
# Wine needs the page at 0x7ffe0000 for itself. Newer kernels lay a program's heap anywhere in a gigabyte around it, so that
# one start in about two thousand fails ("failed to map the shared user data"). Without random addresses none does; some
# containers don't allow that.
set(TV_START_WINE)
execute_process(COMMAND setarch -R true RESULT_VARIABLE refused OUTPUT_QUIET ERROR_QUIET)
if(refused STREQUAL 0)
  set(TV_START_WINE setarch -R)
endif()
function(tv_add_wine_script name prefix)
  set(TV_PREFIX ${prefix})
  list(JOIN TV_START_WINE " " TV_START)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/wine.sh.in ${PROJECT_BINARY_DIR}/${name} @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()
tv_add_wine_script(wine.sh wineprefix)
tv_add_wine_script(wine-tests.sh wineprefix-tests)
tv_add_wine_script(wine-installer.sh wineprefix-installer)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_BINARY_DIR}/wine-tests.sh)

set(BUILD_GMOCK OFF)
set(INSTALL_GTEST OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS OFF)  # they are for our own code
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)
unset(CMAKE_EXPORT_COMPILE_COMMANDS)

# tv_add_checked_copy(library): `library`_checked, the same sources with the standard library's checks of indices and
# iterators, for the tests of a library that works on raw bytes. To be called when `library` has all its sources.
function(tv_add_checked_copy library)
  get_target_property(sources ${library} SOURCES)
  get_target_property(libraries ${library} LINK_LIBRARIES)
  get_target_property(folder ${library} SOURCE_DIR)
  list(TRANSFORM sources REPLACE "^([^/].*)$" "${folder}/\\1")
  tv_add_library(${library}_checked ${sources} LIBS ${libraries})
  set_target_properties(${library}_checked PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
  target_compile_options(${library}_checked PRIVATE $<$<CONFIG:Release>:-O1>)
  target_compile_definitions(${library}_checked PRIVATE _GLIBCXX_ASSERTIONS)
endfunction()

option(TV_UNITY "Compile several files of tests as one, in half the time. tools/lint.sh compiles each alone" ON)

# tv_add_test(name SOURCES... [LIBS ...]): a GoogleTest program and its cases. Cases of one build
# tree share the tests' Wine prefix (registry, Running Object Table), so they run one at a time.
function(tv_add_test name)
  cmake_parse_arguments(ARG "" "" LIBS ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE tv_options test_support ${ARG_LIBS} GTest::gtest)
  # Tests are compiled far more often than they are run.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1> $<$<CONFIG:Debug>:-g1>)
  target_compile_definitions(${name} PRIVATE _GLIBCXX_ASSERTIONS)
  # A file whose names another one has, too, is compiled alone (SKIP_UNITY_BUILD_INCLUSION).
  set_target_properties(${name} PROPERTIES UNITY_BUILD ${TV_UNITY} UNITY_BUILD_BATCH_SIZE 8)
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  # The debugger that Wine starts for a program that crashes ends it with exit code 0.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT 300 FAIL_REGULAR_EXPRESSION "wine: Unhandled" RESOURCE_LOCK wine_prefix LABELS ${name})
endfunction()
