# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  platform
  SOURCES ConditionVariableTest.cpp
          EnvironmentSetupTest.cpp
          FileSearchTest.cpp
          FileTest.cpp
          MutexTest.cpp
          PlatformTest.cpp
          ReplaceFileTest.cpp
          SharedLibraryTest.cpp
          SystemPropertyTest.cpp
          ThreadTest.cpp)
if(NOT WIN32)
  # What Windows does not have: forks, signals, pseudo-terminals, users to change to, links that
  # anybody may make, registry files, an end of threads that always goes well.
  target_sources(
    test_platform
    PRIVATE platform/posix/ConditionVariableTest.cpp
            platform/posix/ConsoleTest.cpp
            platform/posix/EnvironmentTest.cpp
            platform/posix/FileTest.cpp
            platform/posix/MutexProcessTest.cpp
            platform/posix/RegistryFileTest.cpp
            platform/posix/ReplaceFileTest.cpp
            platform/posix/ThreadEndTest.cpp
            "${PROJECT_SOURCE_DIR}/torture/support/ConditionRound.cpp")
  # Sources of the library whose behaviour no public operation reaches: they are hidden in the
  # library, so the program compiles its own copy. On Windows they are the system's own calls.
  foreach(source posix/deadline posix/descriptor posix/fork posix/futex process/AtFork
                 process/ProcessMutex process/Rundown winapi/clock winapi/environment winapi/error
                 winapi/handle winapi/mutex winapi/named_mutex winapi/path winapi/registry_file
                 winapi/system_posix winapi/wait)
    target_sources(test_platform PRIVATE "${PROJECT_SOURCE_DIR}/core/base/platform/${source}.cpp")
  endforeach()
endif()

# Libraries to load: two of the same name, one that loads another, and a text that is none.
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
if(NOT WIN32) # one without the table of symbols that the GNU linker makes
  target_link_options(test_plugin_second PRIVATE -Wl,--hash-style=sysv)
endif()
file(WRITE "${plugins}/broken/plugin${CMAKE_SHARED_MODULE_SUFFIX}" "This is no library.\n")
file(WRITE "${plugins}/here${CMAKE_SHARED_MODULE_SUFFIX}" "Nor is this.\n")
target_compile_definitions(test_platform PRIVATE TEST_PLUGINS="${plugins}"
                                                 TEST_EXTENSION="${CMAKE_SHARED_MODULE_SUFFIX}")
