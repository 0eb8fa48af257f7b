# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` leaves: the library, and how CMake and pkg-config find it. The headers are
# installed by the folders that own them (see OstbaseHeaders.cmake). The package files do not name the
# prefix, so that an installed tree can be moved; the library goes on looking for its default
# directories where OSTBASE_INSTALLED has put them.
include(CMakePackageConfigHelpers)

if(NOT OSTBASE_INSTALLED)
  install(CODE "message(WARNING \"This build looks for its default directories in the tree that it \
was built from. For a library to keep, use: ./dev install PREFIX\")")
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

# pkg-config knows where its own file lies; the prefix is the way up from there.
file(RELATIVE_PATH pkgconfig_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/ostbase.pc.in" "${PROJECT_BINARY_DIR}/ostbase.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ostbase.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
