# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  foundation
  SOURCES
  AcquirableTest.cpp
  FormattingTest.cpp
  ResultCodeTest.cpp
  StringUtilsTest.cpp)
