# SPDX-License-Identifier: Apache-2.0
find_package(nlohmann_json REQUIRED)
ostbase_test(tools SOURCES OstrelTest.cpp)
add_dependencies(test_tools ostrel)
target_link_libraries(test_tools PRIVATE nlohmann_json::nlohmann_json)
target_compile_definitions(
  test_tools PRIVATE OSTREL_PROGRAM="$<TARGET_FILE:ostrel>" SOURCE_TREE="${PROJECT_SOURCE_DIR}")
