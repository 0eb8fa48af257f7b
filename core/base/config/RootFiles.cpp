// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/RootFiles.hpp"

#include <cstring>

namespace Ostrel {

namespace {

struct RootFile {
  IConfigSource::ConfigRoot root;
  char const *file_name;
  char const *top_key;
};

constexpr RootFile ROOT_FILES[] = {
    {IConfigSource::CONFIG_ROOT_APPLICATIONS, "application-config.xml", "Applications"},
    {IConfigSource::CONFIG_ROOT_BEHAVIORS, "behavior-config.xml", "Behaviors"},
    {IConfigSource::CONFIG_ROOT_PERSONALITIES, "personality-config.xml", "Personalities"},
    {IConfigSource::CONFIG_ROOT_RESOURCES, "resource-config.xml", "Resources"},
    {IConfigSource::CONFIG_ROOT_SEMANTICS, "semantic-config.xml", "Semantics"},
    {IConfigSource::CONFIG_ROOT_USER_CONFIG, "user-config.xml", "UserConfig"},
};

} // namespace

char const *file_name_of(IConfigSource::ConfigRoot root) noexcept {
  for (RootFile const &file : ROOT_FILES) {
    if (file.root == root) {
      return file.file_name;
    }
  }
  return nullptr;
}

IConfigSource::ConfigRoot root_of(char const *top_key) noexcept {
  for (RootFile const &file : ROOT_FILES) {
    if (std::strcmp(top_key, file.top_key) == 0) {
      return file.root;
    }
  }
  return IConfigSource::CONFIG_ROOT_OTHER;
}

} // namespace Ostrel
