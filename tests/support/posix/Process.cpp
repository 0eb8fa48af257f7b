// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.hpp"

#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<char *> pointers(Texts &texts) {
  std::vector<char *> result;
  for (std::string &text : texts) {
    result.push_back(text.data());
  }
  result.push_back(nullptr);
  return result;
}

} // namespace

Texts environment_entries() {
  Texts entries;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    entries.emplace_back(*entry);
  }
  return entries;
}

std::shared_ptr<void> provide_registry(std::string const &values) {
  auto const directory = std::make_shared<TemporaryDirectory>();
  std::string const file = directory->path("registry.reg");
  write_file(file, registry_file(values));
  set_variable("OSTREL_REGISTRY_FILE", file.c_str());
  return {directory.get(),
          [directory](void * /*directory*/) { set_variable("OSTREL_REGISTRY_FILE", nullptr); }};
}

void set_variable(char const *name, char const *value) {
  value == nullptr ? unsetenv(name) : setenv(name, value, 1);
}

// Resolved here: under Valgrind, executing the link itself would start Valgrind's binary.
std::string this_program() {
  return std::filesystem::read_symlink("/proc/self/exe").string();
}

int execute(std::string const &program, Texts arguments, Texts environment, std::string const &out,
            std::string const &err) {
  arguments.insert(arguments.begin(), program);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  int const flags = O_WRONLY | O_CREAT | O_APPEND;
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), flags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), flags, 0600);
  pid_t child = -1;
  int const error = posix_spawn(&child, program.c_str(), &actions, nullptr,
                                pointers(arguments).data(), pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    std::fprintf(stderr, "posix_spawn: %s\n", std::strerror(error));
    return -1;
  }
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
