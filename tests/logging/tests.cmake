# SPDX-License-Identifier: Apache-2.0
ostbase_test(logging SOURCES ForeignOutput.cpp LoggingCategoryTest.cpp LoggingOutputTest.cpp
                             LoggingSetupTest.cpp)
if(NOT OSTBASE_SANITIZE) # the sanitizers want type information
  set_source_files_properties(logging/ForeignOutput.cpp PROPERTIES COMPILE_OPTIONS -fno-rtti)
endif()
