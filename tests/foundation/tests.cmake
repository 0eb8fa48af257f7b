# SPDX-License-Identifier: Apache-2.0
ostbase_test(foundation SOURCES AcquirableTest.cpp ArrayTest.cpp ObjectTest.cpp ResultCodeTest.cpp StringUtilsTest.cpp)
