# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  foundation
  SOURCES
  FormattingTest.cpp
  ResultCodeTest.cpp
  StringUtilsTest.cpp)
