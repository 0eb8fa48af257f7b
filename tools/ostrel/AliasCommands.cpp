// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/AliasCommands.hpp"

#include "core/base/config/UserConfig.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Origins.hpp"
#include "tools/ostrel/Settings.hpp"

#include <nlohmann/json.hpp>

#include <optional>
#include <vector>

namespace Ostrel::Tool {

int run_alias_list(Output &output) {
  SettingsState const state = load_settings();
  std::vector<SettingAlias> aliases;
  UserConfig::list_aliases(&aliases);
  for (SettingAlias const &alias : aliases) {
    if (output.is_json()) {
      output.print_json(alias_json(alias));
    } else {
      output.line('$' + alias.name + " = " + alias.key + " (" + origin_text(alias) + ")");
    }
  }
  // Without a file the built-in aliases are all that there are.
  return state == SettingsState::UNREADABLE ? report_unavailable(output, state) : STATUS_DONE;
}

int run_alias_resolve(Output &output, std::string const &name) {
  SettingsState const state = load_settings();
  std::string const alias = name.rfind('$', 0) == 0 ? name : '$' + name;
  int status = STATUS_DONE;
  std::optional<std::string> const key = resolve_key(output, alias, &status);
  if (!key) {
    return state == SettingsState::UNREADABLE ? report_unavailable(output, state) : status;
  }
  if (output.is_json()) {
    output.print_json({{"name", alias.substr(1)}, {"key", *key}});
  } else {
    output.line(*key);
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
