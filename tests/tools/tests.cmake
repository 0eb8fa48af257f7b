# SPDX-License-Identifier: Apache-2.0
find_package(nlohmann_json REQUIRED)
ostbase_test(tools SOURCES OstrelTest.cpp)
ostbase_test(mistakes SOURCES MistakesTest.cpp)
foreach(program test_tools test_mistakes)
  add_dependencies(${program} ostrel)
  target_link_libraries(${program} PRIVATE nlohmann_json::nlohmann_json)
  target_compile_definitions(
    ${program} PRIVATE OSTREL_PROGRAM="$<TARGET_FILE:ostrel>" SOURCE_TREE="${PROJECT_SOURCE_DIR}")
endforeach()
target_compile_definitions(test_tools PRIVATE ${plugin_definitions})
add_dependencies(test_tools test_plugin_first test_plugin_second)
