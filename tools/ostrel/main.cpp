// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"
#include "tools/ostrel/CommandLine.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Output.hpp"
#include "tools/ostrel/Variables.hpp"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// The library's messages on a terminal, for which the tool's own rule holds.
class TerminalLog : public LoggingOutputImpl {
public:
  bool write_method(std::string const &text) override {
    bool const is_line = !text.empty() && text.back() == '\n';
    std::string_view const message(text.data(), text.size() - (is_line ? 1 : 0));
    return LoggingOutputImpl::write_method(escaped(message) + (is_line ? "\n" : ""));
  }
};

struct GlobalOptions {
  bool is_json = false;
  bool is_quiet = false;
  std::string color = "auto";
  std::string config_path;
};

void add_global_options(CLI::App &app, GlobalOptions *options) {
  app.add_flag("--json", options->is_json, "Print JSON: one document, or one line for each item");
  app.add_flag("--quiet", options->is_quiet, "Print no messages, only data");
  app.add_option("--color", options->color, "auto (default), always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  app.add_option("--config-path", options->config_path,
                 "Search settings here first, as in OSTREL_CONFIG_PATH");
  app.set_version_flag("--version", "ostrel " OSTREL_VERSION, "Print the version");
}

void apply(GlobalOptions const &options, Output *output) {
  output->set_json(options.is_json);
  output->set_quiet(options.is_quiet);
  output->set_color(options.color == "always"  ? Output::Color::ALWAYS
                    : options.color == "never" ? Output::Color::NEVER
                                               : Output::Color::AUTO);
  if (options.is_quiet) {
    LoggingCategory::set_root_priority(LoggingPriority::LEVEL_DISABLED);
  }
  if (!options.config_path.empty()) {
    setenv("OSTREL_CONFIG_PATH", options.config_path.c_str(), /*overwrite=*/1);
  }
}

// The innermost command that was recognised.
CLI::App const &typed_command(CLI::App const &app) {
  std::vector<CLI::App *> const typed = app.get_subcommands();
  return typed.empty() ? app : typed_command(*typed.front());
}

std::vector<std::string> commands_of(CLI::App const &app) {
  std::vector<std::string> names;
  for (CLI::App const *const command : app.get_subcommands(nullptr)) {
    names.push_back(command->get_name());
  }
  return names;
}

std::vector<std::string> options_of(CLI::App const *app) {
  std::vector<std::string> names;
  for (; app != nullptr; app = app->get_parent()) {
    for (CLI::Option const *const option : app->get_options()) {
      for (std::string const &name : option->get_lnames()) {
        names.push_back("--" + name);
      }
    }
  }
  return names;
}

int report_usage(Output &output, CLI::App const &app, CLI::ParseError const &error) {
  output.set_json(app.count("--json") > 0);
  CLI::App const &command = typed_command(app);
  std::vector<std::string> const rest = app.remaining(/*recurse=*/true);
  std::vector<std::string> const commands = commands_of(command);
  std::string message = error.what();
  if (!rest.empty() && rest.front().rfind('-', 0) == 0) {
    message = "there is no option '" + rest.front() + "'" +
              did_you_mean(rest.front().substr(0, rest.front().find('=')), options_of(&command));
  } else if (!rest.empty() && !commands.empty()) {
    message = "there is no command '" + rest.front() + "'" + did_you_mean(rest.front(), commands);
  } else if (!commands.empty() && dynamic_cast<CLI::RequiredError const *>(&error) != nullptr) {
    message = "a command is missing";
  }
  std::string path;
  for (CLI::App const *each = &command; each != nullptr; each = each->get_parent()) {
    path = each->get_name() + ' ' + path;
  }
  output.error(message + " (see " + path + "--help)");
  return STATUS_USAGE;
}

int run(Output &output, int argc, char const *const *argv) {
  GlobalOptions options;
  Command command;
  CLI::App app("Settings, search paths, units and result codes of the robot", "ostrel");
  app.require_subcommand(1);
  app.fallthrough(); // so that the global options also work after the command
  add_global_options(app, &options);
  add_commands(app, &command);
  try {
    app.parse(argc, argv);
  } catch (CLI::CallForHelp const &) {
    output.text(app.help());
    return STATUS_DONE;
  } catch (CLI::CallForVersion const &version) {
    app.count("--json") > 0 ? output.print_json({{"version", OSTREL_VERSION}})
                            : output.line(version.what());
    return STATUS_DONE;
  } catch (CLI::ParseError const &error) {
    return report_usage(output, app, error);
  }
  apply(options, &output);
  if (isatty(STDERR_FILENO) != 0) {
    LoggingCategory::get_root_category().set_logging_output(new TerminalLog);
  }
  return command(output);
}

} // namespace

} // namespace Ostrel::Tool

int main(int argc, char **argv) {
  using namespace Ostrel::Tool;
  Output output;
  try {
    hide_log_variables();
    return output.finish(run(output, argc, argv));
  } catch (std::exception const &error) {
    output.error(error.what()); // such as std::bad_alloc
    return STATUS_UNREADABLE;
  }
}
