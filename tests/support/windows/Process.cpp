// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.hpp"

#include "core/base/platform/Win32Mutex.hpp"
#include "core/base/platform/winapi/winapi.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/System.hpp"

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>

namespace {

// No translation of line ends in the output.
[[maybe_unused]] int const modes[] = {_setmode(_fileno(stdout), _O_BINARY),
                                      _setmode(_fileno(stderr), _O_BINARY)};

// Quotes an argument for the child's C library: a backslash escapes each quotation mark and each
// backslash before one.
std::string quoted(std::string const &argument) {
  std::string result = "\"";
  std::size_t backslashes = 0;
  for (char const c : argument + '"') {
    if (c == '"') {
      result.append(backslashes, '\\');
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    result += c == '"' ? "\\\"" : std::string(1, c);
  }
  result.erase(result.size() - 2, 1); // the last quotation mark ends the argument
  return result;
}

HANDLE make_output(std::string const &path) {
  SECURITY_ATTRIBUTES inherited = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                     CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Serialises test programs that run at the same time.
Ostrel::IMutex &registry_mutex() {
  static Ostrel::Win32Mutex mutex(/*initially_owned=*/false, "ostbase-test-registry",
                                  /*open_existing=*/false, /*security=*/nullptr,
                                  /*result=*/nullptr);
  return mutex;
}

void run(std::string const &command) {
  if (std::system((command + " >NUL 2>NUL").c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
  }
}

} // namespace

Texts environment_entries() {
  Texts entries;
  char *const block = GetEnvironmentStringsA();
  for (char const *entry = block; *entry != '\0'; entry += entries.back().size() + 1) {
    entries.emplace_back(entry);
  }
  FreeEnvironmentStringsA(block);
  return entries;
}

std::shared_ptr<void> provide_registry(std::string const &values) {
  TemporaryDirectory const directory;
  write_file(directory.path("registry.reg"), registry_file(values));
  registry_mutex().acquire();
  run("reg import \"" + directory.path("registry.reg") + "\"");
  return {&registry_mutex(), [](void * /*mutex*/) {
            run("reg delete \"HKLM\\Software\\Ostrel Labs\" /f");
            registry_mutex().release();
          }};
}

void set_variable(char const *name, char const *value) {
  _putenv((std::string(name) + '=' + (value == nullptr ? "" : value)).c_str());
  SetEnvironmentVariableA(name, value); // an empty text is kept
}

std::string this_program() {
  char program[MAX_PATH];
  GetModuleFileNameA(nullptr, program, MAX_PATH);
  return program;
}

int execute(std::string const &program, Texts arguments, Texts environment, std::string const &out,
            std::string const &err) {
  std::string command_line = quoted(program), block;
  for (std::string const &argument : arguments) {
    command_line += ' ' + quoted(argument);
  }
  for (std::string const &entry : environment) {
    block += entry + '\0';
  }
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = make_output(out);
  startup.hStdError = make_output(err);
  PROCESS_INFORMATION child = {};
  BOOL const is_started = CreateProcessA(program.c_str(), command_line.data(), nullptr, nullptr,
                                         TRUE, 0, block.data(), nullptr, &startup, &child);
  DWORD const error = GetLastError();
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  if (is_started == FALSE) {
    std::fprintf(stderr, "CreateProcess: error %lu\n", error);
    return -1;
  }
  WaitForSingleObject(child.hProcess, INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(child.hProcess, &status);
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
  return static_cast<int>(status);
}
