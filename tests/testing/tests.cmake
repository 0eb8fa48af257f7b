# SPDX-License-Identifier: Apache-2.0
ostbase_test(testing SOURCES TestUtilsTest.cpp)
if(NOT WIN32) # whose pipes neither refuse nor are interrupted
  target_sources(test_testing PRIVATE testing/posix/FdostreamTest.cpp)
endif()
