// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Platform.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/platform/File.hpp"

#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr char DELIMITER = ';';

ClassCategory category("Ostrel.Core.Base.Platform");

char const *text_or_empty(char const *text) {
  return text == nullptr ? "" : text;
}

// At least one: the empty text is one empty element.
std::vector<std::string> elements_of(std::string search_path) {
  search_path += DELIMITER;
  std::vector<std::string> elements;
  for (std::size_t start = 0; start < search_path.size();) {
    std::size_t const end = search_path.find(DELIMITER, start);
    elements.push_back(search_path.substr(start, end - start));
    start = end + 1;
  }
  return elements;
}

std::string join(std::string const &directory, char const *file_name) {
  return directory + Platform::get_path_delimiter() + file_name;
}

} // namespace

unsigned long Platform::find_file(std::string search_path, char const *file_name,
                                  std::string *out) try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  if (file_name == nullptr) {
    return RESULT_NOT_FOUND;
  }
  for (std::string const &directory : elements_of(std::move(search_path))) {
    std::string candidate = join(directory, file_name);
    unsigned long const result = File().open_for_reading(candidate.c_str());
    if (result == RESULT_SUCCESS) {
      *out = std::move(candidate);
    }
    if (result == RESULT_SUCCESS || result == RESULT_OUT_OF_MEMORY) {
      return result;
    }
  }
  return RESULT_NOT_FOUND;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::get_seq_path(std::string const &search_path, int index,
                                     std::string *out) try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  if (search_path.empty()) {
    return RESULT_NOT_FOUND;
  }
  std::vector<std::string> elements = elements_of(search_path);
  if (index < 0 || static_cast<std::size_t>(index) >= elements.size()) {
    return RESULT_OUT_OF_BOUND;
  }
  *out = std::move(elements[static_cast<std::size_t>(index)]);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::get_first_path(std::string const &search_path, std::string *out) {
  return get_seq_path(search_path, 0, out);
}

unsigned long Platform::find_system_file(SystemProperty property, char const *file_name,
                                         std::string *out) try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string search_path;
  unsigned long result = get_system_property(property, &search_path);
  if (result != RESULT_SUCCESS) {
    category().warn("Failed to get system property:%d.", static_cast<int>(property));
    return result;
  }
  result = find_file(search_path, file_name, out);
  if (result != RESULT_SUCCESS) {
    category().warn("Failed to find '%s' in '%s'.", text_or_empty(file_name), search_path.c_str());
  }
  return result;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Platform::find_system_or_regular_file(SystemProperty property, char const *file_name,
                                                    std::string *out) try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string name = text_or_empty(file_name); // copied: `out` may hold it
  char const *const wanted = file_name == nullptr ? nullptr : name.c_str();
  out->clear();
  LoggingCategoryPostfixed(&category())
      .trace("find_system_or_regular_file() '%s'...", name.c_str());
  unsigned long const result = File().open_for_reading(wanted);
  if (result == RESULT_OUT_OF_MEMORY) {
    return result;
  }
  if (result != RESULT_SUCCESS) {
    return find_system_file(property, wanted, out);
  }
  *out = std::move(name);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  out->clear();
  return RESULT_OUT_OF_MEMORY;
}

void Platform::find_place_to_write(SystemProperty property, char const *file_name,
                                   std::string *out) try {
  if (out == nullptr) {
    return;
  }
  std::string name = text_or_empty(file_name); // copied: `out` may hold it
  out->clear();
  if (is_absolute_path(name.c_str())) {
    *out = std::move(name);
    return;
  }
  std::string search_path, directory;
  if (get_system_property(property, &search_path) != RESULT_SUCCESS) {
    category().warn("Failed to find SLAM landmark path possibilities.");
    search_path = ".";
  }
  if (get_first_path(search_path, &directory) != RESULT_SUCCESS) {
    category().warn("Couldn't find a decent first path choice for saving.");
    directory = ".";
  }
  *out = join(directory, name.c_str());
} catch (std::bad_alloc const &) {
  out->clear();
}

} // namespace Ostrel
