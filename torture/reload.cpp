// SPDX-License-Identifier: Apache-2.0
// A program that is not linked to the library loads, uses and unloads it repeatedly.
#include "core/base/capi/ovra.h"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned int HANG_S = 30; // each time

// Resources of a process that the library could leak.
struct Holdings {
  long resident_kb, mappings, descriptors, threads;
};

long count_entries(char const *directory) {
  return std::distance(std::filesystem::directory_iterator(directory),
                       std::filesystem::directory_iterator());
}

long count_mappings() {
  std::ifstream maps("/proc/self/maps");
  long count = 0;
  for (std::string line; std::getline(maps, line);) {
    count += line.find("ostbase") != std::string::npos || line.find("xml2") != std::string::npos ||
                     line.find("ostrel") != std::string::npos
                 ? 1
                 : 0;
  }
  return count;
}

Holdings look() {
  long size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return {resident * (sysconf(_SC_PAGESIZE) / 1024), count_mappings(),
          count_entries("/proc/self/fd"), count_entries("/proc/self/task")};
}

// The action of each signal; the program may have been started with one ignored.
std::vector<sighandler_t> signal_handlers() {
  std::vector<sighandler_t> handlers;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    handlers.push_back(action.sa_handler);
  }
  return handlers;
}

template <typename Function> Function *symbol(void *library, char const *name) {
  return reinterpret_cast<Function *>(dlsym(library, name));
}

// Logs and reads a setting through the C interface.
bool use_c_interface(void *library) {
  auto *const log = symbol<decltype(ovra_log__info)>(library, "ovra_log__info");
  auto *const get =
      symbol<decltype(ovra_user_config__get_value)>(library, "ovra_user_config__get_value");
  auto *const set =
      symbol<decltype(ovra_user_config__set_value)>(library, "ovra_user_config__set_value");
  if (log == nullptr || get == nullptr || set == nullptr) {
    return false;
  }
  char value[16] = "";
  for (int i = 0; i < 200; ++i) {
    log(("reload.category." + std::to_string(i)).c_str(), "%d", i);
  }
  return get("UserConfig/Key/Name", value, sizeof value) == 0 && std::strcmp(value, "value") == 0 &&
         set("UserConfig/Kept/Name", "x", false) == 0;
}

bool use_plugin(void *plugin) {
  auto *const use = symbol<bool(char const *)>(plugin, "use_library");
  return use != nullptr && use(("reload of " + std::to_string(getpid())).c_str());
}

bool use_source(void *plugin) {
  auto *const make = symbol<bool()>(plugin, "make_source");
  return make != nullptr && make();
}

struct Loaded {
  void *library, *plugin;
};

// For the host's own fork handlers, registered before the library: they run while the library holds
// its mutexes for the fork.
Loaded const *loaded_for_steps = nullptr;
bool is_used_in_steps = true;

void step() {
  if (loaded_for_steps != nullptr) {
    is_used_in_steps = use_c_interface(loaded_for_steps->library) &&
                       use_source(loaded_for_steps->plugin) && is_used_in_steps;
  }
}

// A child of fork also has the library, and ends with it loaded.
bool is_used_in_child(Loaded const &loaded) {
  loaded_for_steps = &loaded;
  pid_t const child = fork();
  loaded_for_steps = nullptr;
  if (child == 0) {
    alarm(HANG_S);
    std::exit(use_c_interface(loaded.library) && is_used_in_steps ? 0 : 1);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && status == 0;
}

void load_and_unload(Torture &torture, unsigned int round) {
  alarm(HANG_S);
  std::vector<sighandler_t> const handlers = signal_handlers();
  void *const library = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
  void *const plugin = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr || plugin == nullptr) {
    torture.fault("round %u: %s", round, dlerror());
    return;
  }
  bool const is_forked_first =
      round % 20 == 0; // then everything is used for the first time in the handlers
  if (is_forked_first && !is_used_in_child({library, plugin})) {
    torture.fault("round %u: no use in a child at first", round);
  }
  if (!use_c_interface(library)) {
    torture.fault("round %u: no use through the C interface", round);
  }
  if (!use_plugin(plugin)) {
    torture.fault("round %u: no thread or mutex", round);
  }
  if (round % 10 == 0 && !is_used_in_child({library, plugin})) {
    torture.fault("round %u: no use in a child", round);
  }
  // Unloads the plug-in alone, or with the library.
  bool const is_library_first = round % 2 == 0;
  dlclose(is_library_first ? library : plugin);
  dlclose(is_library_first ? plugin : library);
  if (dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_NOLOAD) != nullptr) {
    torture.fault("round %u: the library stays", round);
  }
  if (signal_handlers() != handlers) {
    torture.fault("round %u: a signal's handler is left behind", round);
  }
}

} // namespace

int torture() {
  Torture torture("Loading and unloading leaves nothing behind");
  constexpr unsigned int SETTLED = 10; // rounds, until the C library keeps no more memory
  constexpr long MOST_KB = 512;        // of growth, in all
  TemporaryDirectory const directory;
  std::string const log = directory.path("log");
  write_file(directory.path("user-config.xml"), "<UserConfig><Key Name='value'/></UserConfig>");
  setenv("OSTREL_CONFIG_PATH", directory.path().c_str(), 1);
  setenv("OSTREL_LOG_PRIORITY", "reload,INFO", 1);
  setenv("OSTREL_LOG_OUTPUT", log.c_str(), 1);
  if (dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_NOLOAD) != nullptr) {
    torture.fault("this program is linked to the library, and so proves nothing");
  }
  pthread_atfork(step, step, step);
  for (unsigned int i = 0; i < SETTLED; ++i) {
    load_and_unload(torture, i);
  }
  unsigned int const count = rounds(1000);
  Holdings const before = look();
  for (unsigned int i = 0; i < count; ++i) {
    std::filesystem::resize_file(log, 0);
    load_and_unload(torture, i);
    if (read_file(log).find("still here") == std::string::npos) {
      torture.fault("round %u: what a destructor logs at the unload is lost", i);
    }
  }
  if (!is_used_in_steps) {
    torture.fault("no use in the host's steps around a fork");
  }
  Holdings const after = look();
  if (after.resident_kb > before.resident_kb + MOST_KB || after.mappings != before.mappings ||
      after.descriptors != before.descriptors || after.threads != before.threads) {
    torture.fault("grown: %ld kB to %ld, %ld mappings to %ld, %ld descriptors to %ld, %ld threads "
                  "to %ld",
                  before.resident_kb, after.resident_kb, before.mappings, after.mappings,
                  before.descriptors, after.descriptors, before.threads, after.threads);
  }
  return torture.row("%u loads and unloads with use in between, while a destructor logs: %ld kB "
                     "grown",
                     count, after.resident_kb - before.resident_kb);
}
