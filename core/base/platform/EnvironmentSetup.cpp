// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/EnvironmentSetup.hpp"

#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace Ostrel {

namespace {

constexpr char const *CONFIG_PATH = "OSTREL_CONFIG_PATH";
constexpr char const *SOURCE_TREE = "ostrel-core"; // the name of its directory
constexpr int DIRECTORY_SIZE = 260; // characters of the current directory, terminator included

ClassCategory category("Ostrel.Core.Base.EnvironmentSetup");

// Null without memory.
std::unique_ptr<char[]> copy_text(char const *text) {
  std::size_t const size = std::strlen(text) + 1;
  std::unique_ptr<char[]> copy(new (std::nothrow) char[size]);
  if (copy != nullptr) {
    std::memcpy(copy.get(), text, size);
  }
  return copy;
}

void report_no_path() {
  LoggingCategoryPostfixed(&category()).trace("Could not allocate new_path!");
}

bool names_source_tree(char const *path) {
  return path != nullptr && std::strstr(path, SOURCE_TREE) != nullptr;
}

// Appends the tree's directory in the source tree. Removes the variable if its value is empty.
void set_config_path(bool is_in_source_tree) try {
  std::string value;
  read_environment(CONFIG_PATH, &value);
  std::string entry = std::string(CONFIG_PATH) + "=" + value;
  if (is_in_source_tree) {
    entry += Platform::get_search_path_delimiter();
    entry += OSTBASE_CONFIG_DIR;
  }
  _putenv(entry.c_str());
} catch (std::bad_alloc const &) { // the variable keeps its value
}

} // namespace

char *EnvironmentSetup::_argv0 = nullptr;
unsigned int EnvironmentSetup::_argv0_ref_count = 0;

EnvironmentSetup::EnvironmentSetup() noexcept = default;

EnvironmentSetup::EnvironmentSetup(int argc, char **argv) {
  init_internal(argc, argv);
}

EnvironmentSetup::~EnvironmentSetup() {
  _putenv("OSTREL_LIBRARY_PATH=");
  _putenv("OSTREL_CONFIG_PATH=");
  if (_argv0 == nullptr) {
    return;
  }
  --_argv0_ref_count;
  if (_argv0_ref_count == 0) {
    delete[] std::exchange(_argv0, nullptr);
  }
}

void EnvironmentSetup::init(int argc, char **argv) {
  init_internal(argc, argv);
}

bool EnvironmentSetup::in_source_tree(int argc, char **const argv) {
  if (names_source_tree(argc != 0 && argv != nullptr ? argv[0] : _argv0)) {
    return true;
  }
  char directory[DIRECTORY_SIZE];
  return names_source_tree(_getcwd(directory, DIRECTORY_SIZE));
}

char *EnvironmentSetup::make_srcdir_path(char const *relative_path) try {
  if (relative_path == nullptr) {
    return nullptr;
  }
  char const *const delimiter = Platform::get_path_delimiter();
  std::string path;
  if (relative_path[0] == delimiter[0] || !read_environment("srcdir", &path)) {
    return copy_text(relative_path).release();
  }
  path += delimiter;
  path += relative_path;
  std::unique_ptr<char[]> new_path = copy_text(path.c_str());
  if (new_path == nullptr) {
    report_no_path();
  }
  return new_path.release();
} catch (std::bad_alloc const &) {
  report_no_path();
  return nullptr;
}

void EnvironmentSetup::init_internal(int argc, char **argv) {
  set_config_path(in_source_tree(argc, argv));
  if (_argv0 != nullptr || argv == nullptr || argv[0] == nullptr) {
    return;
  }
  _argv0 = copy_text(argv[0]).release();
  if (_argv0 != nullptr) { // otherwise the next `init` retries
    ++_argv0_ref_count;
  }
}

void EnvironmentSetup::init_external(int, char **) {}

} // namespace Ostrel
