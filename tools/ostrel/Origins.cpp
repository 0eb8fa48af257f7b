// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Origins.hpp"

#include <nlohmann/json.hpp>

namespace Ostrel::Tool {

std::string place_text(std::string const &file, long line) {
  return line > 0 ? file + ':' + std::to_string(line) : file;
}

std::string origin_text(SettingPlace::Origin origin, std::string const &name) {
  switch (origin) {
  case SettingPlace::ORIGIN_ENVIRONMENT:
    return "environment " + name;
  case SettingPlace::ORIGIN_REGISTRY:
    return "registry " + name;
  case SettingPlace::ORIGIN_CURRENT_DIRECTORY:
    return "current directory";
  case SettingPlace::ORIGIN_BUILT_IN:
    break;
  }
  return "built in";
}

// The origins that both have are the same numbers.
static_assert(int{SettingPlace::ORIGIN_ENVIRONMENT} == SearchPathElement::ORIGIN_ENVIRONMENT &&
              int{SettingPlace::ORIGIN_REGISTRY} == SearchPathElement::ORIGIN_REGISTRY &&
              int{SettingPlace::ORIGIN_BUILT_IN} == SearchPathElement::ORIGIN_BUILT_IN);

std::string origin_text(SearchPathElement const &element) {
  return origin_text(static_cast<SettingPlace::Origin>(element.origin), element.origin_name);
}

std::string origin_text(SettingAlias const &alias) {
  return alias.file.empty() ? "built in" : place_text(alias.file, alias.line);
}

std::string name_of(SettingPlace::Origin origin) {
  constexpr char const *NAMES[] = {"environment", "registry", "built-in", "current-directory"};
  return NAMES[origin];
}

std::string name_of(SettingPlace::State state) {
  constexpr char const *NAMES[] = {"no-file", "unreadable", "loaded", "shadowed", "not-loaded"};
  return NAMES[state];
}

std::string name_of(SearchPathElement::Origin origin) {
  return name_of(static_cast<SettingPlace::Origin>(origin));
}

nlohmann::json alias_json(SettingAlias const &alias) {
  return {{"name", alias.name}, {"key", alias.key}, {"file", alias.file}, {"line", alias.line}};
}

} // namespace Ostrel::Tool
