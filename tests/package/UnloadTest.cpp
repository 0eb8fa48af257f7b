// SPDX-License-Identifier: Apache-2.0
// A program that is not linked to the library: loads it, logs, runs a thread and unloads it.
#include "core/base/platform/IThread.hpp"

#include <dlfcn.h>

static bool load_and_unload(char const *path) {
  using Create = Ostrel::IThread *(*)(Ostrel::IThread::Routine, void *, bool);
  void *const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  void *const get = dlsym(library, "_ZN6Ostrel15LoggingCategory12get_instanceEPKc");
  void *const create = dlsym(library, "_ZN6Ostrel8Platform13create_threadEPFjPvES1_b");
  if (get == nullptr || create == nullptr) {
    return false;
  }
  reinterpret_cast<void *(*)(char const *)>(get)("a.category");
  auto *const thread = reinterpret_cast<Create>(create)([](void *) { return 0U; }, nullptr, false);
  bool const has_ended = thread->start() && thread->wait_for_exit(60000);
  delete thread;
  return has_ended && dlclose(library) == 0 && dlopen(path, RTLD_NOW | RTLD_NOLOAD) == nullptr;
}

int main(int, char **argv) {
  for (int i = 0; i < 3; ++i) {
    if (!load_and_unload(argv[1])) {
      return 1;
    }
  }
  return 0;
}
