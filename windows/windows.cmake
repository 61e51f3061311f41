# The Windows DLL set, cross-built with mingw-w64 (toolchain
# windows/mingw-w64.cmake) and run under Wine:
#   TARNX_LINALG.dll       the library
#   tarnx_core_140000.dll  the numerical core: reference LAPACK, BLAS and CBLAS
#   libiomp5md.dll         the OpenMP runtime the core is loaded with (GCC's
#                          libgomp under that name, with its two run-times)
#   zwrt.dll               the host stand-in
#   tarnx.exe, products_example.exe, and the test programs
# Every module lands in bin/: the library finds its core beside itself and the
# programs find zwrt.dll beside them, with no configuration.
set(TARNX_RUNTIME_DIR ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${TARNX_RUNTIME_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${TARNX_RUNTIME_DIR})
set(CMAKE_SHARED_LIBRARY_PREFIX "")
# The C++ and GCC run-times and winpthreads are linked into each module, so
# that a module depends on system DLLs alone and one copy of libstdc++ per
# module keeps its own state.
target_link_options(tarnx_build_flags INTERFACE -static)

# ---- the numerical core and its OpenMP runtime ------------------------------------
set(TARNX_CORE_DLL ${TARNX_RUNTIME_DIR}/tarnx_core_140000.dll)
add_custom_command(OUTPUT ${TARNX_CORE_DLL}
  COMMAND ${CMAKE_COMMAND} -E env JOBS=${TARNX_JOBS} ${PROJECT_SOURCE_DIR}/windows/build-core.sh ${TARNX_RUNTIME_DIR}
  DEPENDS ${PROJECT_SOURCE_DIR}/windows/build-core.sh ${PROJECT_SOURCE_DIR}/frame/core_routines.def
    ${PROJECT_SOURCE_DIR}/core/core_module.c
  COMMENT "Building the numerical core tarnx_core_140000.dll"
  USES_TERMINAL)

# The reference core never calls OpenMP; GCC's runtime stands in under the
# name the library loads, beside the two DLLs it needs.
set(TARNX_OMP_FILES)
foreach(dll libgomp-1.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=${dll}
    OUTPUT_VARIABLE _path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${_path}" OR NOT EXISTS "${_path}")
    find_file(_path NAMES ${dll} PATHS /usr/${TARNX_MINGW}/lib NO_CMAKE_FIND_ROOT_PATH NO_CACHE)
  endif()
  if(NOT _path)
    message(FATAL_ERROR "mingw-w64 does not provide ${dll}")
  endif()
  set(_name ${dll})
  if(dll STREQUAL "libgomp-1.dll")
    set(_name libiomp5md.dll)
  endif()
  add_custom_command(OUTPUT ${TARNX_RUNTIME_DIR}/${_name}
    COMMAND ${CMAKE_COMMAND} -E copy ${_path} ${TARNX_RUNTIME_DIR}/${_name}
    DEPENDS ${_path})
  list(APPEND TARNX_OMP_FILES ${TARNX_RUNTIME_DIR}/${_name})
  unset(_path)
endforeach()
add_custom_target(tarnx_core ALL DEPENDS ${TARNX_CORE_DLL} ${TARNX_OMP_FILES})

# ---- the host stand-in ---------------------------------------------------------------
add_library(zwrt SHARED runtime/zwrt.cpp)
target_compile_definitions(zwrt PRIVATE ZWRT_BUILDING)
target_include_directories(zwrt PUBLIC runtime include)
target_link_libraries(zwrt PRIVATE tarnx_build_flags)

# ---- the library -----------------------------------------------------------------------
include(${PROJECT_SOURCE_DIR}/cmake/library_sources.cmake)
list(FILTER TARNX_SOURCES EXCLUDE REGEX ".*/frame/platform_posix\\.cpp$")
add_library(TARNX_LINALG SHARED ${TARNX_SOURCES})
target_include_directories(TARNX_LINALG PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include
  ${PROJECT_BINARY_DIR}/generated)
# The exports are the functions marked TARNX_API and nothing else; the core
# is loaded at run time, never imported.
target_link_libraries(TARNX_LINALG PRIVATE user32 advapi32 tarnx_build_flags)
add_dependencies(TARNX_LINALG tarnx_core)

add_subdirectory(${PROJECT_SOURCE_DIR}/tools ${PROJECT_BINARY_DIR}/tools)

# ---- example, command-line host, tests --------------------------------------------------
add_executable(products_example examples/products_example.c)
target_include_directories(products_example PRIVATE include runtime)
target_link_libraries(products_example PRIVATE TARNX_LINALG zwrt tarnx_build_flags)

file(GLOB TARNX_CLI_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cli/*.cpp)
list(FILTER TARNX_CLI_SOURCES EXCLUDE REGEX ".*/cli/os_posix\\.cpp$")
add_executable(tarnx ${TARNX_CLI_SOURCES})
target_include_directories(tarnx PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(tarnx PRIVATE tarnx_export_table zwrt tarnx_build_flags)
add_dependencies(tarnx TARNX_LINALG tarnx_core)

if(TARNX_TESTS)
  enable_testing()
  include(${PROJECT_SOURCE_DIR}/windows/tests.cmake)
endif()
