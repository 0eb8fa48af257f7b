// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Child.hpp"

#include "tests/support/Files.hpp"
#include "tests/support/Process.hpp"

namespace {

std::map<std::string, Role::Run> &roles() {
  static std::map<std::string, Role::Run> instance;
  return instance;
}

bool is_ours(std::string const &entry) {
  return entry.rfind("OSTREL_", 0) == 0 || entry.rfind("OVRA_", 0) == 0;
}

Texts child_environment(Environment const &changes) {
  Texts entries;
  for (std::string const &entry : environment_entries()) {
    if (!is_ours(entry) && changes.count(entry.substr(0, entry.find('='))) == 0) {
      entries.push_back(entry);
    }
  }
  for (auto const &[name, value] : changes) {
    if (value != nullptr) {
      entries.push_back(name + "=" + value);
    }
  }
  return entries;
}

} // namespace

Role::Role(char const *name, Run run) {
  roles()[name] = run;
}

int Role::play(std::string const &name, Arguments const &arguments) {
  auto const found = roles().find(name);
  return found == roles().end() ? 127 : found->second(arguments);
}

ChildResult run_child(std::string const &role, Role::Arguments const &arguments,
                      Environment const &environment) {
  Texts all = {"--role", role};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return run_program(this_program(), all, environment);
}

ChildResult run_program(std::string const &program, std::vector<std::string> const &arguments,
                        Environment const &environment) {
  TemporaryDirectory const directory;
  std::string const out = directory.path("stdout"), err = directory.path("stderr");
  ChildResult result;
  result.status = execute(program, arguments, child_environment(environment), out, err);
  result.out = read_file(out);
  result.err = read_file(err);
  return result;
}
