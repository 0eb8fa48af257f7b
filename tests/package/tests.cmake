# SPDX-License-Identifier: Apache-2.0
# Tests the installed package with the tools of this system. The package is a separate build, as
# `./dev install` makes it, with this build's compiler. Builds with sanitizers are not packaged.
if(NOT OSTBASE_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  set(checks install places headers symbols components)
  if(OSTBASE_BUILD_CONFIG) # the consumers and the tool use the settings
    list(APPEND checks cmake_consumer pkgconfig_consumer readme tool)
  endif()
  foreach(check IN LISTS checks)
    add_test(
      NAME package.${check}
      COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/package/check.sh" ${check}
              "${CMAKE_CURRENT_BINARY_DIR}/package" ${OSTBASE_BUILD_CONFIG} "${CMAKE_CXX_COMPILER}")
    set_tests_properties(package.${check} PROPERTIES TIMEOUT 600 FIXTURES_REQUIRED package)
  endforeach()
  set_tests_properties(package.install PROPERTIES FIXTURES_SETUP package FIXTURES_REQUIRED ""
                                                  PROCESSORS 2)
endif()
