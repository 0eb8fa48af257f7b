// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/PathCommands.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Origins.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <vector>

namespace Ostrel::Tool {

namespace {

using Elements = std::vector<SearchPathElement>;

// False, after an error, if there is no such property.
bool find_property(Output &output, std::string const &name, Platform::SystemProperty *property) {
  std::vector<std::string> const &names = property_names();
  auto const found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) {
    output.error("there is no property '" + name + "'" + did_you_mean(name, names));
    return false;
  }
  *property = static_cast<Platform::SystemProperty>(found - names.begin());
  return true;
}

Elements elements_of(Platform::SystemProperty property) {
  Silence const silence; // it is no fault that the registry has no value
  Elements elements;
  Platform::get_search_path_elements(property, &elements);
  for (SearchPathElement &element : elements) {
    element.directory = Platform::native_path(element.directory.c_str());
  }
  return elements;
}

nlohmann::json json_of(Elements const &elements) {
  nlohmann::json list = nlohmann::json::array();
  for (SearchPathElement const &element : elements) {
    list.push_back({{"directory", element.directory},
                    {"origin", name_of(element.origin)},
                    {"origin_name", element.origin_name}});
  }
  return list;
}

std::string text_of(SearchPathElement const &element) {
  return element.directory + " (" + origin_text(element) + ")";
}

} // namespace

std::vector<std::string> const &property_names() {
  static std::vector<std::string> const names = {"install", "config", "data",      "audio",
                                                 "images",  "faces",  "modelsets", "slam-landmark"};
  return names;
}

int run_path_show(Output &output, std::string const &property) {
  Platform::SystemProperty wanted = {};
  if (!property.empty() && !find_property(output, property, &wanted)) {
    return STATUS_NOT_FOUND;
  }
  nlohmann::json properties = nlohmann::json::object();
  for (std::size_t i = 0; i < property_names().size(); ++i) {
    auto const each = static_cast<Platform::SystemProperty>(i);
    if (!property.empty() && each != wanted) {
      continue;
    }
    std::string const &name = property_names()[i];
    Elements const elements = elements_of(each);
    properties[name] = json_of(elements);
    for (SearchPathElement const &element : elements) {
      if (!output.is_json()) {
        output.line((property.empty() ? name + ": " : "") + text_of(element));
      }
    }
  }
  if (output.is_json()) {
    output.print_json({{"properties", properties}});
  }
  return STATUS_DONE;
}

int run_path_find(Output &output, std::string const &property, std::string const &file) {
  Platform::SystemProperty wanted = {};
  if (!find_property(output, property, &wanted)) {
    return STATUS_NOT_FOUND;
  }
  Silence const silence;
  std::string found;
  if (Platform::find_system_file(wanted, file.c_str(), &found) != RESULT_SUCCESS) {
    std::string searched, nearest;
    for (SearchPathElement const &element : elements_of(wanted)) {
      searched += (searched.empty() ? "" : ", ") + text_of(element);
      std::string const start = element.directory + '/', path = find_nearest_path(start + file);
      nearest = nearest.empty() && starts_with(path, start) ? path.substr(start.size()) : nearest;
    }
    output.error("there is no readable file '" + file + "'; looked in: " + searched +
                 (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"));
    return STATUS_NOT_FOUND;
  }
  found = Platform::native_path(found.c_str());
  if (output.is_json()) {
    output.print_json({{"property", property}, {"file", found}});
  } else {
    output.line(found);
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
