# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  platform
  SOURCES ConditionVariableTest.cpp
          EnvironmentSetupTest.cpp
          FileSearchTest.cpp
          FileTest.cpp
          ReplaceFileTest.cpp
          SharedLibraryTest.cpp
          SystemPropertyTest.cpp
          ThreadTest.cpp)
# These call the layer below `platform`: on Windows the system itself, elsewhere hidden symbols of the
# library.
set(layer_tests MutexTest.cpp PlatformTest.cpp)
if(WIN32)
  list(TRANSFORM layer_tests PREPEND platform/)
  target_sources(test_platform PRIVATE ${layer_tests})
else()
  # Not on Windows: forks, signals, pseudo-terminals, other users, links that any user may create,
  # registry files, a safe forced end of threads.
  target_sources(
    test_platform
    PRIVATE platform/posix/ConsoleTest.cpp platform/posix/ReplaceFileTest.cpp
            platform/posix/ThreadEndTest.cpp)
  ostbase_test(
    layer
    FOLDER platform
    LIBRARY ostbase_inside
    SOURCES ${layer_tests} posix/DirectoryLockTest.cpp posix/EnvironmentTest.cpp posix/FileTest.cpp
            posix/MutexProcessTest.cpp posix/RegistryFileTest.cpp)
endif()

# Libraries to load: two of the same name, one that loads another, and a text file.
set(plugins "${CMAKE_CURRENT_BINARY_DIR}/plugins")
foreach(plugin first second nested)
  add_library(test_plugin_${plugin} MODULE platform/Plugin.cpp)
  target_compile_definitions(
    test_plugin_${plugin} PRIVATE PLUGIN_PLACE="${plugin}" TEST_PLUGINS="${plugins}"
                                  TEST_EXTENSION="${CMAKE_SHARED_MODULE_SUFFIX}")
  target_link_libraries(test_plugin_${plugin} PRIVATE Ostrel::ostbase ostbase_build_flags)
  set_target_properties(
    test_plugin_${plugin} PROPERTIES PREFIX "" OUTPUT_NAME plugin
                                     LIBRARY_OUTPUT_DIRECTORY "${plugins}/${plugin}")
  add_dependencies(test_platform test_plugin_${plugin})
endforeach()
file(WRITE "${plugins}/broken/plugin${CMAKE_SHARED_MODULE_SUFFIX}" "This is no library.\n")
file(WRITE "${plugins}/here${CMAKE_SHARED_MODULE_SUFFIX}" "Nor is this.\n")
set(plugin_definitions TEST_PLUGINS="${plugins}" TEST_EXTENSION="${CMAKE_SHARED_MODULE_SUFFIX}")
target_compile_definitions(test_platform PRIVATE ${plugin_definitions})
if(NOT WIN32)
  target_compile_definitions(test_layer PRIVATE ${plugin_definitions})
  foreach(plugin first second nested)
    add_dependencies(test_layer test_plugin_${plugin})
  endforeach()
endif()
