# The suite for the Windows build, run under Wine through ctest's emulator.
# GoogleTest is built here with mingw-w64 from Debian's googletest sources.
set(TARNX_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources to build with mingw-w64")
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${TARNX_GTEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

# Paths the tests hand to Windows programs: Wine's drive Z: is the root of
# the machine's file system.
function(tarnx_windows_path out path)
  set(${out} "Z:${path}" PARENT_SCOPE)
endfunction()
tarnx_windows_path(TARNX_WIN_LIB_DIR ${TARNX_RUNTIME_DIR})
set(TARNX_HOSTS_DIR ${TARNX_RUNTIME_DIR}/hosts)
tarnx_windows_path(TARNX_WIN_HOSTS_DIR ${TARNX_HOSTS_DIR})

# What runs the same on every system; the tests of loading and unloading, the
# symbol table and the command line have Windows versions of their own.
set(TARNX_TESTS_DIR ${PROJECT_SOURCE_DIR}/tests)
file(GLOB_RECURSE TARNX_TEST_SOURCES CONFIGURE_DEPENDS ${TARNX_TESTS_DIR}/*_test.cpp)
list(FILTER TARNX_TEST_SOURCES EXCLUDE REGEX ".*/frame/(module_load|exports)_test\\.cpp$")
add_executable(tarnx_tests ${TARNX_TEST_SOURCES} ${TARNX_TESTS_DIR}/windows/module_lifecycle_win32.cpp
  ${TARNX_TESTS_DIR}/support/host.cpp ${TARNX_TESTS_DIR}/support/export_calls.cpp
  ${TARNX_TESTS_DIR}/support/test_os_win32.cpp)
target_include_directories(tarnx_tests PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include
  ${PROJECT_SOURCE_DIR}/runtime ${TARNX_TESTS_DIR})
target_link_libraries(tarnx_tests PRIVATE TARNX_LINALG zwrt tarnx_export_table gtest_main tarnx_build_flags)

# A second host runtime (as fakehost.dll and zwffrt.dll), and the programs
# that load the library in a fresh process.
add_library(fake_host MODULE ${TARNX_TESTS_DIR}/support/fake_host.cpp)
set_target_properties(fake_host PROPERTIES PREFIX "" OUTPUT_NAME fakehost LIBRARY_OUTPUT_DIRECTORY ${TARNX_HOSTS_DIR})
target_link_libraries(fake_host PRIVATE tarnx_build_flags)
add_custom_command(TARGET fake_host POST_BUILD COMMAND ${CMAKE_COMMAND} -E copy
  $<TARGET_FILE:fake_host> ${TARNX_HOSTS_DIR}/zwffrt.dll)
foreach(probe load_probe host_probe)
  add_executable(${probe} ${TARNX_TESTS_DIR}/support/load_probe.cpp ${TARNX_TESTS_DIR}/support/fake_host.cpp
    ${TARNX_TESTS_DIR}/support/test_os_win32.cpp)
  target_include_directories(${probe} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${TARNX_TESTS_DIR})
  target_link_libraries(${probe} PRIVATE tarnx_build_flags)
endforeach()
# The host probe is a main program that exports the host's functions itself.
target_compile_definitions(host_probe PRIVATE PROBE_EXPORTS_HOST=1)
target_link_options(host_probe PRIVATE -Wl,--export-all-symbols)
# A core that only counts its per-thread releases, for the thread-detach test.
add_library(counting_core MODULE ${TARNX_TESTS_DIR}/windows/counting_core.c)
set_target_properties(counting_core PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${TARNX_HOSTS_DIR})
target_link_libraries(counting_core PRIVATE tarnx_build_flags)
add_dependencies(tarnx_tests fake_host load_probe host_probe counting_core)

target_compile_definitions(tarnx_tests PRIVATE
  TARNX_LIB_DIR="${TARNX_WIN_LIB_DIR}"
  TARNX_PROBE="${TARNX_WIN_LIB_DIR}/load_probe.exe"
  TARNX_HOST_PROBE="${TARNX_WIN_LIB_DIR}/host_probe.exe"
  TARNX_FAKE_HOST="${TARNX_WIN_HOSTS_DIR}/fakehost.dll"
  TARNX_COUNTING_CORE="${TARNX_WIN_HOSTS_DIR}/counting_core.dll"
  TARNX_UNIX_LIB_DIR="${TARNX_RUNTIME_DIR}")

add_test(NAME suite COMMAND tarnx_tests)
add_test(NAME suite_moving_blocks COMMAND tarnx_tests)
set_tests_properties(suite_moving_blocks PROPERTIES ENVIRONMENT "ZWRT_MOVE_BLOCKS=1")

# The command-line host run as a person would, each run its own process.
file(GLOB TARNX_CLI_TEST_SOURCES CONFIGURE_DEPENDS ${TARNX_TESTS_DIR}/cli/*.cpp)
list(FILTER TARNX_CLI_TEST_SOURCES EXCLUDE REGEX ".*/cli/run_tarnx_posix\\.cpp$")
add_executable(tarnx_cli_tests ${TARNX_CLI_TEST_SOURCES} ${TARNX_TESTS_DIR}/windows/run_tarnx_win32.cpp)
target_include_directories(tarnx_cli_tests PRIVATE ${PROJECT_SOURCE_DIR} ${TARNX_TESTS_DIR})
target_link_libraries(tarnx_cli_tests PRIVATE tarnx_export_table gtest_main tarnx_build_flags)
tarnx_windows_path(TARNX_WIN_CLI ${TARNX_RUNTIME_DIR}/tarnx.exe)
target_compile_definitions(tarnx_cli_tests PRIVATE TARNX_CLI="${TARNX_WIN_CLI}")
add_dependencies(tarnx_cli_tests tarnx)
add_test(NAME cli COMMAND tarnx_cli_tests)
add_test(NAME cli_moving_blocks COMMAND tarnx_cli_tests)
set_tests_properties(cli_moving_blocks PROPERTIES ENVIRONMENT "ZWRT_MOVE_BLOCKS=1")

# The DLL set as a host sees it, checked from outside with the cross
# binutils: exactly the export table, and no numerical library imported.
add_test(NAME dll_set COMMAND ${PROJECT_SOURCE_DIR}/windows/check-dlls.sh ${TARNX_RUNTIME_DIR}
  $<TARGET_FILE:tarnx>)

# A crash under Wine that its debugger reports must fail the test whatever
# exit code the process ends with.
set_tests_properties(suite suite_moving_blocks cli cli_moving_blocks PROPERTIES
  FAIL_REGULAR_EXPRESSION "Unhandled exception|Unhandled page fault")
