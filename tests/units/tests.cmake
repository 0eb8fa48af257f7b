# SPDX-License-Identifier: Apache-2.0
ostbase_test(units SOURCES UnitsTest.cpp)
