# SPDX-License-Identifier: Apache-2.0
ostbase_test(testing SOURCES TestUtilsTest.cpp)
if(NOT WIN32) # pipes are neither non-blocking nor interrupted
  target_sources(test_testing PRIVATE testing/posix/FdostreamTest.cpp)
endif()
