# SPDX-License-Identifier: Apache-2.0
# Installs the library and its files for CMake and pkg-config. Each folder installs its own headers
# (OstbaseHeaders.cmake). The package files do not contain the prefix, so that an installed tree can be
# moved; the default directories of the library stay where OSTBASE_INSTALLED has put them.
include(CMakePackageConfigHelpers)

if(NOT OSTBASE_INSTALLED)
  install(CODE "message(WARNING \"This build looks for its default directories in the tree that it \
was built from. To install the library, use: ./dev install PREFIX\")")
endif()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ostbase")

install(
  TARGETS ostbase
  EXPORT ostbaseTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(EXPORT ostbaseTargets NAMESPACE Ostrel:: DESTINATION "${package_dir}")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/ostbaseConfig.cmake.in" "${PROJECT_BINARY_DIR}/ostbaseConfig.cmake"
  INSTALL_DESTINATION "${package_dir}"
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/ostbaseConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/ostbaseConfig.cmake"
              "${PROJECT_BINARY_DIR}/ostbaseConfigVersion.cmake"
        DESTINATION "${package_dir}")

# The prefix relative to the directory of the .pc file, which pkg-config knows.
file(RELATIVE_PATH pkgconfig_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/ostbase.pc.in" "${PROJECT_BINARY_DIR}/ostbase.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ostbase.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
