# SPDX-License-Identifier: Apache-2.0
find_package(nlohmann_json REQUIRED)
ostbase_test(mistakes SOURCES MistakesTest.cpp)
add_dependencies(test_mistakes ostrel)
target_link_libraries(test_mistakes PRIVATE nlohmann_json::nlohmann_json)
target_compile_definitions(
  test_mistakes PRIVATE OSTREL_PROGRAM="$<TARGET_FILE:ostrel>" SOURCE_TREE="${PROJECT_SOURCE_DIR}")
