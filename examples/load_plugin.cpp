// SPDX-License-Identifier: Apache-2.0

// Loads a plug-in by name and calls a function in it. The search covers PATH, OSTREL_LIBRARY_PATH
// and the directories in the arguments.

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"

#include <cstdio>
#include <memory>

using namespace Ostrel;

namespace {

struct LetGo {
  void operator()(ISharedLibrary *library) const { library->remove_ref(); }
};
using Library = std::unique_ptr<ISharedLibrary, LetGo>;

using StoppingDistance = double (*)(double speed_m_per_s);

void print(char const *step, unsigned long result) {
  std::printf("%-11s %s\n", step, result_code_get_name(result));
}

void call(void *function) {
  constexpr double SPEED_M_PER_S = 0.6;
  std::printf("from %.1f m/s the robot stops within %.2f m\n", SPEED_M_PER_S,
              reinterpret_cast<StoppingDistance>(function)(SPEED_M_PER_S));
}

} // namespace

int main(int argc, char **argv) {
  // Line-buffered, so that the plug-in's messages appear in order.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  Library const library(Platform::create_shared_library());
  if (library == nullptr) {
    return 1;
  }
  library->set_name("example_plugin");
  for (int i = 1; i < argc; ++i) {
    library->add_search_path(argv[i]);
  }
  print("load", library->load());
  void *function = nullptr;
  unsigned long const found = library->get_symbol("stopping_distance_m", &function);
  print("get_symbol", found);
  if (found != RESULT_SUCCESS) {
    return 1;
  }
  call(function);
  print("unload", library->unload());
  return 0;
}
