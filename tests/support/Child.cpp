// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Child.hpp"

#include "tests/support/Files.hpp"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::map<std::string, Role::Run> &roles() {
  static std::map<std::string, Role::Run> instance;
  return instance;
}

bool is_ours(std::string const &entry) {
  return entry.rfind("OSTREL_", 0) == 0 || entry.rfind("OVRA_", 0) == 0;
}

std::vector<std::string> child_environment(Environment const &changes) {
  std::vector<std::string> entries;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    std::string const text = *entry;
    if (!is_ours(text) && changes.count(text.substr(0, text.find('='))) == 0) {
      entries.push_back(text);
    }
  }
  for (auto const &[name, value] : changes) {
    if (value != nullptr) {
      entries.push_back(name + "=" + value);
    }
  }
  return entries;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
  std::vector<char *> result;
  for (std::string &text : texts) {
    result.push_back(text.data());
  }
  result.push_back(nullptr);
  return result;
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
  TemporaryDirectory const directory;
  std::string const out = directory.path("stdout"), err = directory.path("stderr");
  // Its name and not the link: under Valgrind the link, when it is started, is Valgrind.
  std::string const program = std::filesystem::read_symlink("/proc/self/exe").string();
  std::vector<std::string> argv = {program, "--role", role};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<std::string> envp = child_environment(environment);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  int const flags = O_WRONLY | O_CREAT | O_APPEND;
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), flags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), flags, 0600);
  pid_t child = -1;
  int const error = posix_spawn(&child, program.c_str(), &actions, nullptr, pointers(argv).data(),
                                pointers(envp).data());
  posix_spawn_file_actions_destroy(&actions);

  ChildResult result;
  if (error != 0) {
    result.err = std::string("posix_spawn: ") + std::strerror(error);
    return result;
  }
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  result.out = read_file(out);
  result.err = read_file(err);
  return result;
}
