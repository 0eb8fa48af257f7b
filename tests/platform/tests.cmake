# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  platform
  SOURCES ConditionVariableTest.cpp
          ConsoleTest.cpp
          DirectoryTest.cpp
          EnvironmentSetupTest.cpp
          EnvironmentTest.cpp
          FileSearchTest.cpp
          FileTest.cpp
          MutexTest.cpp
          PathTest.cpp
          PlatformTest.cpp
          RegistryFileTest.cpp
          ReplaceFileTest.cpp
          SharedLibraryTest.cpp
          SystemPropertyTest.cpp
          ThreadTest.cpp
  INTERNAL platform/winapi/descriptor.cpp
           platform/winapi/environment.cpp
           platform/winapi/error.cpp
           platform/winapi/fork.cpp
           platform/winapi/handle.cpp
           platform/winapi/mutex.cpp
           platform/winapi/named_mutex.cpp
           platform/winapi/registry_file.cpp
           platform/winapi/wait.cpp)

# Libraries to load: two of the same name, one that loads another, and a text that is none.
set(plugins "${CMAKE_CURRENT_BINARY_DIR}/plugins")
foreach(plugin first second nested)
  add_library(test_plugin_${plugin} MODULE platform/Plugin.cpp)
  target_compile_definitions(test_plugin_${plugin} PRIVATE PLUGIN_PLACE="${plugin}"
                                                              TEST_PLUGINS="${plugins}")
  target_link_libraries(test_plugin_${plugin} PRIVATE Ostrel::ostbase ostbase_build_flags)
  set_target_properties(
    test_plugin_${plugin} PROPERTIES PREFIX "" OUTPUT_NAME plugin
                                     LIBRARY_OUTPUT_DIRECTORY "${plugins}/${plugin}")
  add_dependencies(test_platform test_plugin_${plugin})
endforeach()
file(WRITE "${plugins}/broken/plugin.so" "This is no library.\n")
file(WRITE "${plugins}/here.so" "Nor is this.\n")
target_compile_definitions(test_platform PRIVATE TEST_PLUGINS="${plugins}")
