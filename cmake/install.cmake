# What `cmake --install` puts under the prefix, and the Debian package made
# from it with `cpack -G DEB`.
#
#   bin/tarnx                          the command-line host
#   <libdir>/tarnx/                    TARNX_LINALG.so, tarnx_core_140000.so, the
#                                      libiomp5.so link and zwrt.so, together: the
#                                      library loads its core from its own folder
#   include/tarnx_linalg.h, zwrt.h
#   <libdir>/pkgconfig/tarnx-linalg.pc
#   <libdir>/cmake/TARNX_LINALG/       find_package(TARNX_LINALG CONFIG)
#   share/doc/tarnx-linalg/            README and the guides
#
# The library, its core and libiomp5.so live in a folder of their own because
# the libiomp5.so name is Debian's libomp-dev's in the system's library folder.

set(TARNX_INSTALL_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/tarnx)

install(TARGETS TARNX_LINALG zwrt tarnx_core LIBRARY DESTINATION ${TARNX_INSTALL_MODULE_DIR})
if(TARGET tarnx)
  install(TARGETS tarnx RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES include/tarnx_linalg.h runtime/zwrt.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

# libiomp5.so beside the core: a relative link to the system's OpenMP runtime,
# worked out at install time from wherever the prefix is, so that nothing
# points back into the build tree.
install(CODE "
  set(_dir \"\${CMAKE_INSTALL_PREFIX}/${TARNX_INSTALL_MODULE_DIR}\")
  file(RELATIVE_PATH _target \"\${_dir}\" \"${IOMP5_REAL}\")
  set(_link \"\$ENV{DESTDIR}\${_dir}/libiomp5.so\")
  message(STATUS \"Installing: \${_link} -> \${_target}\")
  file(REMOVE \"\${_link}\")
  file(CREATE_LINK \"\${_target}\" \"\${_link}\" SYMBOLIC)
")

# Both package descriptions find the prefix from their own place, so an
# installed tree can be moved or installed with --prefix anywhere.
file(RELATIVE_PATH TARNX_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
file(RELATIVE_PATH TARNX_CMAKE_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/cmake/TARNX_LINALG /)
configure_file(cmake/tarnx-linalg.pc.in ${PROJECT_BINARY_DIR}/generated/tarnx-linalg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/generated/tarnx-linalg.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

include(CMakePackageConfigHelpers)
configure_file(cmake/TARNX_LINALGConfig.cmake.in ${PROJECT_BINARY_DIR}/generated/TARNX_LINALGConfig.cmake @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/generated/TARNX_LINALGConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/generated/TARNX_LINALGConfig.cmake
  ${PROJECT_BINARY_DIR}/generated/TARNX_LINALGConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/TARNX_LINALG)

# ---- the Debian package ----------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarnx-linalg)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Dense linear algebra over host array handles, with a command-line host")
set(CPACK_PACKAGE_CONTACT "TARNX_LINALG developers <tarnx-linalg@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION math)
# The core module needs OpenBLAS (libopenblas.so.0, any of Debian's builds)
# and the libiomp5.so link points at LLVM 14's OpenMP runtime; the rest is
# what the C++ parts of the library and tarnx need.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libstdc++6 (>= 12), libgcc-s1, libopenblas0, libomp5-14")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "TARNX_LINALG.so with its numerical core, the zwrt.so host stand-in,\n the tarnx command-line host, headers, pkg-config and CMake package files.")
include(CPack)
