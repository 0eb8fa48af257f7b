# SPDX-License-Identifier: Apache-2.0
ostbase_test(logging SOURCES ForeignOutput.cpp LoggingCategoryTest.cpp LoggingOutputTest.cpp
                             LoggingSetupTest.cpp)
if(NOT WIN32) # no fork, no limit on the file size
  target_sources(test_logging PRIVATE logging/posix/InterruptedOutputTest.cpp)
endif()
if(NOT OSTBASE_SANITIZE) # the sanitizers need type information
  set_source_files_properties(logging/ForeignOutput.cpp PROPERTIES COMPILE_OPTIONS -fno-rtti)
endif()
