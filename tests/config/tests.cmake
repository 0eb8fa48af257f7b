# SPDX-License-Identifier: Apache-2.0
ostbase_test(
  config
  SOURCES ConfigurationTest.cpp
          ForeignSourceTest.cpp
          HostileFileTest.cpp
          StoredTextTest.cpp
          UserConfigTest.cpp
          XmlConfigSourceTest.cpp)
