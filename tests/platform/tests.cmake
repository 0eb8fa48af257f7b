# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  platform
  SOURCES ../logging/FailingAllocations.cpp
          DirectoryTest.cpp
          FileSearchTest.cpp
          FileTest.cpp
          PathTest.cpp
          PlatformTest.cpp
          RegistryFileTest.cpp
          ReplaceFileTest.cpp
          SystemPropertyTest.cpp
  INTERNAL platform/winapi/registry_file.cpp)
