# SPDX-License-Identifier: Apache-2.0
ostbase_test(logging SOURCES ForeignOutput.cpp LoggingCategoryTest.cpp LoggingOutputTest.cpp
                             LoggingSetupTest.cpp)
# The sanitizers want type information, and keep what is unloaded.
if(NOT OSTBASE_SANITIZE)
  set_source_files_properties(logging/ForeignOutput.cpp PROPERTIES COMPILE_OPTIONS -fno-rtti)
  add_executable(test_logging_unload logging/UnloadTest.cpp)
  target_link_libraries(test_logging_unload PRIVATE ostbase_build_flags ${CMAKE_DL_LIBS})
  add_dependencies(test_logging_unload ostbase)
  add_test(NAME logging.unload COMMAND test_logging_unload $<TARGET_FILE:ostbase>)
endif()
