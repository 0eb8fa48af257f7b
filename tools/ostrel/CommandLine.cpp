// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/CommandLine.hpp"

#include "tools/ostrel/AliasCommands.hpp"
#include "tools/ostrel/Check.hpp"
#include "tools/ostrel/Completion.hpp"
#include "tools/ostrel/ConfigCommands.hpp"
#include "tools/ostrel/Describe.hpp"
#include "tools/ostrel/Doctor.hpp"
#include "tools/ostrel/PathCommands.hpp"
#include "tools/ostrel/ResultCommand.hpp"
#include "tools/ostrel/UnitCommands.hpp"

#include <CLI/App.hpp>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ostrel::Tool {

namespace {

using Words = std::vector<std::string>;

// Makes the parse of a command select what it runs. The arguments live as long as the command.
template <class Arguments, class Run>
void select(CLI::App *command, Command *selected, std::shared_ptr<Arguments> arguments, Run run) {
  command->callback([=, arguments = std::move(arguments)] {
    *selected = [=](Output &output) { return run(output, *arguments); };
  });
}

CLI::App *add_group(CLI::App &app, char const *name, char const *description) {
  CLI::App *const group = app.add_subcommand(name, description);
  group->require_subcommand(1);
  return group;
}

// A command with at most one word.
template <class Run>
void add_with_word(CLI::App *group, char const *name, char const *description, char const *word,
                   char const *word_description, bool is_required, Command *selected, Run run) {
  auto const text = std::make_shared<std::string>();
  CLI::App *const command = group->add_subcommand(name, description);
  command->add_option(word, *text, word_description)->required(is_required);
  select(command, selected, text, run);
}

void add_get(CLI::App *group, Command *selected) {
  auto const options = std::make_shared<GetOptions>();
  CLI::App *const command = group->add_subcommand("get", "Print a setting");
  command->add_option("KEY", options->key, "ROOT/KEY../VALUE, or $ALIAS")->required();
  CLI::Option *const type =
      command->add_option("--type", options->type, "text (default), long, double, bool or series")
          ->check(CLI::IsMember({"text", "long", "double", "bool", "series"}));
  command->add_option("--unit", options->unit, "Print the quantity in this unit")->excludes(type);
  command->add_option("--default", options->default_text,
                      "Print this if the setting does not exist");
  select(command, selected, options,
         [](Output &output, GetOptions const &o) { return run_get(output, o); });
}

void add_set(CLI::App *group, Command *selected) {
  struct Arguments {
    Words assignments;
    bool is_dry_run = false;
  };
  auto const arguments = std::make_shared<Arguments>();
  CLI::App *const command = group->add_subcommand("set", "Set settings in the file, all or none");
  command->add_option("KEY=VALUE", arguments->assignments, "The settings")->required();
  command->add_flag("--dry-run", arguments->is_dry_run,
                    "Print what would change, and write nothing");
  select(command, selected, arguments, [](Output &output, Arguments const &a) {
    return run_set(output, a.assignments, a.is_dry_run);
  });
}

void add_unset(CLI::App *group, Command *selected) {
  auto const keys = std::make_shared<Words>();
  CLI::App *const command = group->add_subcommand("unset", "Remove settings from the file");
  command->add_option("KEY", *keys, "The settings")->required();
  select(command, selected, keys,
         [](Output &output, Words const &words) { return run_unset(output, words); });
}

void add_list(CLI::App *group, Command *selected) {
  struct Arguments {
    std::string path;
    bool with_origin = false;
  };
  auto const arguments = std::make_shared<Arguments>();
  CLI::App *const command = group->add_subcommand("list", "Print the settings of the file");
  command->add_option("PATH", arguments->path, "Only those at or below this path");
  command->add_flag("--origin", arguments->with_origin, "Print file and line as well");
  select(command, selected, arguments, [](Output &output, Arguments const &a) {
    return run_list(output, a.path, a.with_origin);
  });
}

void add_check(CLI::App *group, Command *selected) {
  auto const files = std::make_shared<Words>();
  CLI::App *const command =
      group->add_subcommand("check", "Find mistakes in settings files, and what to write instead");
  command->add_option("FILE", *files, "The files; without one, the settings file");
  select(command, selected, files,
         [](Output &output, Words const &words) { return run_check(output, words); });
}

void add_config(CLI::App &app, Command *selected) {
  CLI::App *const group = add_group(app, "config", "Read, change and check the settings");
  add_get(group, selected);
  add_set(group, selected);
  add_unset(group, selected);
  add_list(group, selected);
  add_with_word(group, "explain", "Print why a setting has its value", "KEY",
                "ROOT/KEY../VALUE, or $ALIAS", /*is_required=*/true, selected, run_explain);
  add_check(group, selected);
  add_with_word(group, "describe", "Print what a setting is for, from the schema", "KEY",
                "ROOT/KEY../VALUE, or $ALIAS; without it, all", /*is_required=*/false, selected,
                [](Output &output, std::string const &key) {
                  return run_describe(output, key.empty() ? std::nullopt : std::optional(key));
                });
}

void add_alias(CLI::App &app, Command *selected) {
  CLI::App *const group = add_group(app, "alias", "Show the aliases of settings");
  select(group->add_subcommand("list", "Print all aliases"), selected, std::make_shared<Words>(),
         [](Output &output, Words const & /*none*/) { return run_alias_list(output); });
  add_with_word(group, "resolve", "Print the full key of an alias", "NAME",
                "The alias, with or without '$'", /*is_required=*/true, selected,
                run_alias_resolve);
}

void add_units(CLI::App &app, Command *selected) {
  struct Arguments {
    std::string number, from, to;
  };
  CLI::App *const group = add_group(app, "units", "Convert quantities");
  auto const arguments = std::make_shared<Arguments>();
  CLI::App *const convert = group->add_subcommand("convert", "Print a number in another unit");
  convert->add_option("NUMBER", arguments->number, "The number")->required();
  convert->add_option("FROM", arguments->from, "Its unit")->required();
  convert->add_option("TO", arguments->to, "The other unit")->required();
  select(convert, selected, arguments, [](Output &output, Arguments const &a) {
    return run_units_convert(output, a.number, a.from, a.to);
  });
  add_with_word(group, "list", "Print the units", "KIND", "Only distance, angle or time",
                /*is_required=*/false, selected, run_units_list);
}

void add_path(CLI::App &app, Command *selected) {
  constexpr char const *PROPERTIES =
      "install, config, data, audio, images, faces, modelsets or slam-landmark";
  struct Arguments {
    std::string property, file;
  };
  CLI::App *const group = add_group(app, "path", "Show the search paths, and find files");
  add_with_word(group, "show", "Print directories, and what supplied them", "PROPERTY", PROPERTIES,
                /*is_required=*/false, selected, run_path_show);
  auto const arguments = std::make_shared<Arguments>();
  CLI::App *const find = group->add_subcommand("find", "Print the file that a search finds");
  find->add_option("PROPERTY", arguments->property, PROPERTIES)->required();
  find->add_option("FILE", arguments->file, "The name of the file")->required();
  select(find, selected, arguments, [](Output &output, Arguments const &a) {
    return run_path_find(output, a.property, a.file);
  });
}

void add_doctor(CLI::App &app, Command *selected) {
  auto const has_report = std::make_shared<bool>(false);
  CLI::App *const command =
      app.add_subcommand("doctor", "Find what is wrong with the set-up of this machine");
  command->add_flag("--report", *has_report, "Print the whole page, for a bug report");
  select(command, selected, has_report,
         [](Output &output, bool report) { return run_doctor(output, report); });
}

void add_completion(CLI::App &app, Command *selected) {
  auto const shell = std::make_shared<std::string>();
  CLI::App *const command =
      app.add_subcommand("completion", "Print the completion script of a shell");
  command->add_option("SHELL", *shell, "bash or zsh")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}));
  select(command, selected, shell, [&app](Output &output, std::string const &name) {
    return run_completion(output, app, name);
  });
}

} // namespace

void add_commands(CLI::App &app, Command *selected) {
  add_config(app, selected);
  add_alias(app, selected);
  add_units(app, selected);
  add_path(app, selected);
  CLI::App *const lib = add_group(app, "lib", "Find libraries that are loaded at run time");
  add_with_word(lib, "find", "Print the file that a load would take; loads nothing", "NAME",
                "As in the load, with or without extension", /*is_required=*/true, selected,
                run_lib_find);
  add_with_word(&app, "result", "Explain a result code", "CODE", "Its number or its name",
                /*is_required=*/true, selected, run_result);
  add_doctor(app, selected);
  add_completion(app, selected);
}

} // namespace Ostrel::Tool
