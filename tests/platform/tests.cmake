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
          SystemPropertyTest.cpp
          ThreadTest.cpp
  INTERNAL platform/winapi/descriptor.cpp
           platform/winapi/environment.cpp
           platform/winapi/error.cpp
           platform/winapi/handle.cpp
           platform/winapi/mutex.cpp
           platform/winapi/named_mutex.cpp
           platform/winapi/registry_file.cpp
           platform/winapi/wait.cpp)
