// SPDX-License-Identifier: Apache-2.0
// A program that is not linked to the library: loads it, logs, runs a thread and unloads it, over
// and over.
#include "core/base/platform/IThread.hpp"

#include <fstream>
#include <string>

#include <dlfcn.h>

static bool load_and_unload(char const *path) {
  using Create = Ostrel::IThread *(*)(Ostrel::IThread::Routine, void *, bool);
  void *const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  void *const get = dlsym(library, "_ZN6Ostrel15LoggingCategory12get_instanceEPKc");
  void *const create = dlsym(library, "_ZN6Ostrel8Platform13create_threadEPFjPvES1_b");
  if (get == nullptr || create == nullptr) {
    return false;
  }
  for (int i = 0; i < 200; ++i) {
    std::string const name = "a.category.of.many." + std::to_string(i);
    reinterpret_cast<void *(*)(char const *)>(get)(name.c_str());
  }
  auto *const thread = reinterpret_cast<Create>(create)([](void *) { return 0U; }, nullptr, false);
  bool const has_ended = thread->start() && thread->wait_for_exit(60000);
  delete thread;
  return has_ended && dlclose(library) == 0 && dlopen(path, RTLD_NOW | RTLD_NOLOAD) == nullptr;
}

static long resident_pages() {
  long size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident;
}

int main(int, char **argv) {
  long before = 0;
  for (int i = 0; i < 1000; ++i) {
    if (!load_and_unload(argv[1])) {
      return 1;
    }
    before = i == 0 ? resident_pages() : before;
  }
  return resident_pages() - before < 1000 ? 0 : 2; // 10,000 when the categories' memory stays
}
