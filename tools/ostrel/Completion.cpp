// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Completion.hpp"

#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

namespace Ostrel::Tool {

namespace {

// Both shells run the middle part, which walks the words before the cursor. Options are offered
// after a '-', else commands; where there are none, files.
constexpr char const *BASH_HEAD = R"(_ostrel() {
  local command='' word candidates=''
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do)";
constexpr char const *BASH_TAIL =
    R"(  [[ ${COMP_WORDS[COMP_CWORD]} == -* ]] || candidates=${candidates%%--*}
  COMPREPLY=($(compgen -W "$candidates" -- "${COMP_WORDS[COMP_CWORD]}"))
}
complete -o default -F _ostrel ostrel)";
constexpr char const *ZSH_HEAD = R"(#compdef ostrel
_ostrel() {
  local command='' word candidates=''
  for word in "${(@)words[2,CURRENT-1]}"; do)";
constexpr char const *ZSH_TAIL = R"(  [[ ${words[CURRENT]} == -* ]] || candidates=${candidates%%--*}
  compadd -- ${=candidates}
  _files
}
compdef _ostrel ostrel)";

struct Level {
  std::string command; // "config get", or the empty text
  std::string candidates;
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

void add_levels(CLI::App const &app, std::string const &command, std::string const &global_options,
                std::vector<Level> *levels) {
  std::string const options = app.get_parent() == nullptr ? "" : options_of(app);
  levels->push_back({command, commands_of(app) + options + global_options});
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
    text += "    '" + level.command + "') candidates='" + level.candidates + "' ;;\n";
  }
  return text + "  esac";
}

} // namespace

int run_completion(Output &output, CLI::App const &app, std::string const &shell) {
  if (shell != "bash" && shell != "zsh") {
    output.error("there are no completions for '" + shell + "'" +
                 did_you_mean(shell, {"bash", "zsh"}));
    return STATUS_NOT_FOUND;
  }
  std::vector<Level> levels;
  add_levels(app, "", options_of(app), &levels);
  bool const is_bash = shell == "bash";
  std::string const script = std::string(is_bash ? BASH_HEAD : ZSH_HEAD) + '\n' + walk(levels) +
                             '\n' + choice(levels) + '\n' + (is_bash ? BASH_TAIL : ZSH_TAIL);
  if (output.is_json()) {
    output.print_json({{"shell", shell}, {"script", script}});
  } else {
    output.text(script + '\n');
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
