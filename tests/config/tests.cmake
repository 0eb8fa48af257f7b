# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  config
  SOURCES ConfigurationTest.cpp
          ForeignSourceTest.cpp
          HostileFileTest.cpp
          SettingsFileTest.cpp
          StoredTextTest.cpp
          UserConfigTest.cpp
          XmlConfigSourceTest.cpp)
if(NOT OSTBASE_SANITIZE) # the sanitizers want type information
  set_source_files_properties(config/ForeignSourceTest.cpp PROPERTIES COMPILE_OPTIONS -fno-rtti)
endif()
