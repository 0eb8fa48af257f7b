# SPDX-License-Identifier: Apache-2.0
if(OSTBASE_BUILD_CONFIG)
  set(capi_settings SettingsTest.cpp settings.c)
endif()
ostbase_test(capi SOURCES CInterfaceTest.cpp checks.c ${capi_settings})
