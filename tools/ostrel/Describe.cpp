// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Describe.hpp"

#include "core/base/config/UserConfig.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Schema.hpp"
#include "tools/ostrel/SearchedFiles.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/UnitNames.hpp"
#include "tools/ostrel/Values.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace Ostrel::Tool {

namespace {

struct Described {
  std::string key;
  DeclaredSetting const *setting;
};

std::string kind_name(ValueRule const &rule) {
  for (UnitKind const &kind : unit_kinds()) {
    if (rule.has_kind && kind.type == rule.kind) {
      return kind.name;
    }
  }
  return "";
}

std::string form_name(ValueRule const &rule) {
  constexpr char const *NAMES[] = {"text", "number", "whole number", "true or false"};
  return NAMES[rule.form];
}

// "distance in m or with a unit, from 0 to 20"
std::string rule_text(ValueRule const &rule) {
  std::string const kind = kind_name(rule), range = range_text(rule);
  std::string text = kind.empty() ? form_name(rule) : kind;
  if (!rule.unit.empty()) {
    text += " in " + rule.unit + (rule.has_kind && rule.allows_text ? ", or with a unit" : "");
  }
  return text + (range.empty() ? "" : ", " + range);
}

nlohmann::json to_json(Described const &described) {
  DeclaredSetting const &setting = *described.setting;
  nlohmann::json json = {{"key", described.key},
                         {"purpose", setting.purpose},
                         {"type", form_name(setting.rule)},
                         {"kind", kind_name(setting.rule)},
                         {"unit", setting.rule.unit},
                         {"minimum", setting.rule.minimum},
                         {"maximum", setting.rule.maximum},
                         {"choices", setting.rule.choices},
                         {"default", nullptr}};
  if (setting.default_text) {
    json["default"] = *setting.default_text;
  }
  return json;
}

void print(Output &output, Described const &described) {
  DeclaredSetting const &setting = *described.setting;
  output.line({{described.key, Style::STRONG}});
  if (!setting.purpose.empty()) {
    output.line("  " + setting.purpose);
  }
  output.line("  type:    " + rule_text(setting.rule) +
              (setting.rule.form_purpose.empty() ? "" : ": " + setting.rule.form_purpose));
  if (!setting.rule.choices.empty()) {
    output.line("  choices: " + listed(setting.rule.choices) +
                (setting.rule.allows_text ? ", or another" : ""));
  }
  if (setting.default_text) {
    output.line("  default: " + *setting.default_text);
  }
}

// The schema of the settings file, or that which a new one would have.
std::optional<Schema> read_settings_schema(Output &output, int *status) {
  std::vector<SearchedFile> const places = search_settings_file();
  auto const used = std::find_if(places.begin(), places.end(),
                                 [](SearchedFile const &place) { return place.is_used; });
  std::string const path =
      find_schema(used == places.end() ? "user-config.xml" : used->file, "UserConfig");
  *status = STATUS_NOT_FOUND;
  if (path.empty()) {
    output.error("there is no schema: no user-config.xsd beside the settings file or in its search "
                 "path");
    return std::nullopt;
  }
  std::vector<Finding> findings;
  std::optional<Schema> schema = read_schema(path, &findings);
  if (!schema) {
    *status = STATUS_UNREADABLE;
    output.error("the schema " + path + " cannot be read: " + findings.front().what);
  }
  return schema;
}

std::string full_key(std::string const &key) {
  Silence const silence;
  std::vector<SettingAlias> aliases;
  UserConfig::list_aliases(&aliases);
  for (SettingAlias const &alias : aliases) {
    if (key == '$' + alias.name) {
      return alias.key;
    }
  }
  return key;
}

// The schema declares all elements of a list at once.
std::string without_indexes(std::string const &key) {
  std::string plain;
  for (std::string const &component : split(key, '/')) {
    plain += (plain.empty() ? "" : "/") + component.substr(0, component.find(':'));
  }
  return plain;
}

// All settings, or those at or below a key, ordered by key.
std::vector<Described> select(Schema const &schema, std::string const &key) {
  std::vector<Described> selected;
  for (auto const &[path, element] : schema.elements) {
    for (DeclaredSetting const &setting : element.settings) {
      std::string const setting_key = path + "/" + setting.name;
      if (key.empty() || setting_key == key || starts_with(setting_key, key + "/")) {
        selected.push_back({setting_key, &setting});
      }
    }
  }
  return selected;
}

void print_list(Output &output, std::vector<Described> const &settings) {
  for (Described const &described : settings) {
    output.line(described.key + ": " + rule_text(described.setting->rule) +
                (described.setting->purpose.empty() ? "" : ": " + described.setting->purpose));
  }
}

} // namespace

int run_describe(Output &output, std::optional<std::string> const &key) {
  int status = STATUS_DONE;
  std::optional<Schema> const schema = read_settings_schema(output, &status);
  if (!schema) {
    return status;
  }
  std::vector<Described> const settings =
      select(*schema, key ? without_indexes(full_key(*key)) : "");
  if (settings.empty() && key) {
    output.error("the schema " + schema->path + " does not describe '" + full_key(*key) + "'" +
                 did_you_mean(full_key(*key), schema->keys()));
    return STATUS_NOT_FOUND;
  }
  if (output.is_json()) {
    nlohmann::json array = nlohmann::json::array();
    std::transform(settings.begin(), settings.end(), std::back_inserter(array), to_json);
    output.print_json({{"schema_file", schema->path}, {"settings", array}});
  } else if (key) {
    for (Described const &described : settings) {
      print(output, described);
    }
  } else {
    print_list(output, settings);
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
