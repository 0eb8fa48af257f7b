# SPDX-License-Identifier: Apache-2.0
# The options of the project, and the compiler flags of all its targets.

include(CMakeDependentOption)

# As a subproject, only the library is built.
string(COMPARE EQUAL "${CMAKE_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}" is_top_level)

option(OSTBASE_BUILD_CONFIG "Build the settings, in C++ and in C (needs libxml2)" ON)
option(OSTBASE_BUILD_TESTS "Build the tests (needs GoogleTest)" ${is_top_level})
option(OSTBASE_BUILD_EXAMPLES "Build the example programs" ${is_top_level})
cmake_dependent_option(OSTBASE_BUILD_TOOLS "Build the tool ostrel (needs the settings, CLI11, nlohmann-json)" ${is_top_level}
                       OSTBASE_BUILD_CONFIG OFF)
option(OSTBASE_BUILD_BENCHMARKS "Build the benchmarks (needs the settings, Google Benchmark, the peers)" OFF)
option(OSTBASE_BUILD_TORTURE "Build the programs that cause failures and check the guarantees (needs the settings)" OFF)
option(OSTBASE_BUILD_FUZZERS "Build the fuzz targets (needs the settings); without the sanitizer named fuzzer they only run a corpus" OFF)
foreach(part BENCHMARKS TORTURE FUZZERS)
  if(OSTBASE_BUILD_${part} AND NOT OSTBASE_BUILD_CONFIG)
    message(FATAL_ERROR "OSTBASE_BUILD_${part} needs the settings: OSTBASE_BUILD_CONFIG=ON")
  endif()
endforeach()
option(OSTBASE_WARNINGS_AS_ERRORS "Treat warnings in our own code as errors" ${is_top_level})
set(OSTBASE_SANITIZE "" CACHE STRING "Sanitizers to compile with, e.g. address,undefined or thread")

# A prefix marks a build for installation: packages set one, a developer's build does not.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(has_prefix OFF)
else()
  set(has_prefix ON)
endif()
option(OSTBASE_INSTALLED "Take the default directories below the install prefix, not in this tree" ${has_prefix})
if(OSTBASE_INSTALLED)
  set(default_config_dir "${CMAKE_INSTALL_FULL_DATADIR}/ostrel/config")
  set(default_local_config_dir "${CMAKE_INSTALL_FULL_SYSCONFDIR}/ostrel/config")
  set(default_data_dir "${CMAKE_INSTALL_FULL_DATADIR}/ostrel/data")
else()
  set(default_config_dir "${PROJECT_SOURCE_DIR}/config")
  set(default_local_config_dir "${PROJECT_SOURCE_DIR}/local/config")
  set(default_data_dir "${PROJECT_SOURCE_DIR}/data")
endif()

# A directory that the cache can override. The default is not cached, because it follows the prefix.
macro(ostbase_directory name default help)
  set(${name} "" CACHE PATH "${help}; empty for ${default}")
  if(NOT ${name})
    set(${name} "${default}")
  endif()
endmacro()
ostbase_directory(OSTBASE_CONFIG_DIR "${default_config_dir}"
                  "Default configuration directory, the last resort of every configuration search")
ostbase_directory(OSTBASE_LOCAL_CONFIG_DIR "${default_local_config_dir}"
                  "Second default configuration directory")
ostbase_directory(OSTBASE_DATA_DIR "${default_data_dir}" "Default data directory")
ostbase_directory(OSTBASE_SYSCONF_DIR "/etc"
                  "System configuration directory, which holds the registry file ostrel/registry.reg")

# Explicit even where it is the compiler's default: clang-tidy reads the commands and has another one.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)

# The flags of the project's own targets; consumers do not get them.
add_library(ostbase_build_flags INTERFACE)
target_compile_features(ostbase_build_flags INTERFACE cxx_std_17)
target_include_directories(ostbase_build_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(
  ostbase_build_flags
  INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
            $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
            $<$<BOOL:${OSTBASE_WARNINGS_AS_ERRORS}>:-Werror>)
if(OSTBASE_INSTALLED)
  # Debug information has paths relative to the tree, so that no installed file contains its location.
  # Link-time optimisation writes debug information at the link.
  set(prefix_maps "-ffile-prefix-map=${PROJECT_BINARY_DIR}=."
                  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
  target_compile_options(ostbase_build_flags INTERFACE ${prefix_maps})
  target_link_options(ostbase_build_flags INTERFACE ${prefix_maps})
endif()
if(OSTBASE_SANITIZE)
  set(sanitizer_flags -fsanitize=${OSTBASE_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  target_compile_options(ostbase_build_flags INTERFACE ${sanitizer_flags})
  target_link_options(ostbase_build_flags INTERFACE ${sanitizer_flags})
endif()
