# SPDX-License-Identifier: Apache-2.0
ostbase_test(testing SOURCES FdostreamTest.cpp TestUtilsTest.cpp)
