// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Completion.hpp"

#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/PathCommands.hpp"
#include "tools/ostrel/UnitNames.hpp"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace Ostrel::Tool {

namespace {

// Both shells run the middle part, which walks the words before the cursor. After an option with
// choices these are offered, after a '-' options, else commands or the values of an argument; where
// there are none, files. The names of keys are what precedes " = " in a line of the list. Only
// those of plain characters are offered: bash expands the words, and starts a new one at a ':'.
constexpr char const *KEYS = R"(_ostrel_keys() {
  ostrel --quiet config list 2>/dev/null | sed -n 's/^\([[:alnum:]_./-]*\) = .*/\1/p'
}
)";
constexpr char const *BASH_HEAD = R"(_ostrel() {
  local command='' word='' candidates='' values=''
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do)";
constexpr char const *BASH_TAIL =
    R"(  [[ ${COMP_WORDS[COMP_CWORD]} == -* ]] || candidates="${candidates%%--*}$values"
  COMPREPLY=($(compgen -W "$candidates" -- "${COMP_WORDS[COMP_CWORD]}"))
}
complete -o default -F _ostrel ostrel)";
constexpr char const *ZSH_HEAD = R"(_ostrel() {
  local command='' word='' candidates='' values=''
  for word in "${(@)words[2,CURRENT-1]}"; do)";
constexpr char const *ZSH_TAIL =
    R"(  [[ ${words[CURRENT]} == -* ]] || candidates="${candidates%%--*}$values"
  compadd -- ${=candidates}
  _files
}
compdef _ostrel ostrel)";

struct Level {
  std::string command; // "config get", or the empty text
  std::string candidates;
  std::string values; // of its argument, as an expression of the shell
};

std::string commands_of(CLI::App const &app) {
  std::string words;
  for (CLI::App const *const command : app.get_subcommands(nullptr)) {
    words += command->get_name() + ' ';
  }
  return words;
}

std::string options_of(CLI::App const &app) {
  std::string words;
  for (CLI::Option const *const option : app.get_options()) {
    for (std::string const &name : option->get_lnames()) {
      bool const is_repeated = name == "help" && app.get_parent() != nullptr;
      words += is_repeated ? "" : "--" + name + ' ';
    }
  }
  return words;
}

// "{long,double}" at the end of the description of a type, as words.
std::string choices_of(CLI::Option const &option) {
  std::string const type = option.get_type_name();
  std::size_t const start = type.find('{');
  std::string choices = start == type.npos ? "" : type.substr(start + 1, type.size() - start - 2);
  std::replace(choices.begin(), choices.end(), ',', ' ');
  return choices;
}

std::string joined(std::vector<std::string> const &words) {
  std::string text;
  for (std::string const &word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// The values of the first argument of a command, as an expression of the shell.
std::string values_of(CLI::App const &app) {
  for (CLI::Option const *const option : app.get_options()) {
    std::string const name = option->get_name(/*positional=*/true);
    if (name == "KEY" || name == "KEY=VALUE" || name == "PATH") {
      return "$(_ostrel_keys)";
    }
    std::string const words = name == "PROPERTY" ? joined(property_names())
                              : name == "KIND"   ? joined(kind_names())
                                                 : choices_of(*option);
    if (option->get_positional() && !words.empty()) {
      return "'" + words + "'";
    }
  }
  return "";
}

void add_levels(CLI::App const &app, std::string const &command, std::string const &global_options,
                std::vector<Level> *levels) {
  std::string const options = app.get_parent() == nullptr ? "" : options_of(app);
  levels->push_back({command, commands_of(app) + options + global_options, values_of(app)});
  for (CLI::App const *const next : app.get_subcommands(nullptr)) {
    add_levels(*next, command + (command.empty() ? "" : " ") + next->get_name(), global_options,
               levels);
  }
}

// The commands that the words so far name.
std::string walk(std::vector<Level> const &levels) {
  std::string patterns;
  for (Level const &level : levels) {
    if (!level.command.empty()) {
      patterns += (patterns.empty() ? "'" : " | '") + level.command + "'";
    }
  }
  return "    case \"${command:+$command }$word\" in\n      " + patterns +
         ") command=\"${command:+$command }$word\" ;;\n    esac\n  done";
}

std::string choice(std::vector<Level> const &levels) {
  std::string text = "  case \"$command\" in\n";
  for (Level const &level : levels) {
    text += "    '" + level.command + "') candidates='" + level.candidates + "'" +
            (level.values.empty() ? "" : " values=" + level.values) + " ;;\n";
  }
  return text + "  esac";
}

void add_option_choices(CLI::App const &app, std::string *text) {
  for (CLI::Option const *const option : app.get_options()) {
    std::string const choices = choices_of(*option);
    if (!option->get_lnames().empty() && !choices.empty()) {
      *text +=
          "    --" + option->get_lnames().front() + ") candidates='' values='" + choices + "' ;;\n";
    }
  }
  for (CLI::App const *const command : app.get_subcommands(nullptr)) {
    add_option_choices(*command, text);
  }
}

// After an option with choices, nothing else is offered.
std::string option_choices(CLI::App const &app) {
  std::string text = "  case \"$word\" in\n";
  add_option_choices(app, &text);
  return text + "  esac";
}

} // namespace

int run_completion(Output &output, CLI::App const &app, std::string const &shell) {
  std::vector<Level> levels;
  add_levels(app, "", options_of(app), &levels);
  bool const is_bash = shell == "bash";
  std::string const script = (is_bash ? "" : "#compdef ostrel\n") + std::string(KEYS) +
                             (is_bash ? BASH_HEAD : ZSH_HEAD) + '\n' + walk(levels) + '\n' +
                             choice(levels) + '\n' + option_choices(app) + '\n' +
                             (is_bash ? BASH_TAIL : ZSH_TAIL);
  if (output.is_json()) {
    output.print_json({{"shell", shell}, {"script", script}});
  } else {
    output.text(script + '\n');
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
