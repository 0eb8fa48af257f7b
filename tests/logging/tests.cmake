# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  logging
  SOURCES
  FailingAllocations.cpp
  ForeignMacrosTest.cpp
  LoggingCategoryTest.cpp
  LoggingOutputTest.cpp
  LoggingSetupTest.cpp
  LoggingTextsTest.cpp
  LoggingWrappersTest.cpp)
