# SPDX-License-Identifier: Apache-2.0
ostbase_test(capi SOURCES CInterfaceTest.cpp checks.c)
