# SPDX-License-Identifier: Apache-2.0
# What a consumer gets, tried from outside with the tools of this system. The sanitized builds are no
# packages.
if(NOT OSTBASE_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  set(checks install headers symbols)
  if(OSTBASE_BUILD_CONFIG) # the consumers are programs with settings
    list(APPEND checks cmake_consumer pkgconfig_consumer readme)
  else()
    list(APPEND checks bare_consumer)
  endif()
  foreach(check IN LISTS checks)
    add_test(
      NAME package.${check}
      COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/package/check.sh" ${check} "${PROJECT_BINARY_DIR}"
              "${CMAKE_CURRENT_BINARY_DIR}/package")
    set_tests_properties(package.${check} PROPERTIES TIMEOUT 300 FIXTURES_REQUIRED package)
  endforeach()
  set_tests_properties(package.install PROPERTIES FIXTURES_SETUP package FIXTURES_REQUIRED "")
endif()
