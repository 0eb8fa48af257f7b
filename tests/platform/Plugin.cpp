// SPDX-License-Identifier: Apache-2.0
// A library to be loaded; it tells its place and the PATH that it saw during the load. In the place
// "nested" its constructor and destructor load the library of the place "first".
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"

#include <string>

namespace {

std::string path() {
  std::string text = "(none)";
  Ostrel::Platform::get_environment_variable("PATH", &text);
  return text;
}

std::string look_around() {
  std::string seen = path();
  if (std::string(PLUGIN_PLACE) == "nested") {
    Ostrel::ISharedLibrary *const inner = Ostrel::Platform::create_shared_library();
    inner->set_name(TEST_PLUGINS "/first/plugin" TEST_EXTENSION);
    inner->add_search_path("inner");
    seen += " " + std::to_string(inner->load());
    void *address = nullptr;
    inner->get_symbol("plugin_seen", &address);
    seen += std::string(" ") + reinterpret_cast<char const *(*)()>(address)() + " " + path();
    inner->remove_ref();
  }
  return seen;
}

struct Visit {
  ~Visit() { look_around(); }
  std::string const seen_at_load = look_around();
} const visit;

} // namespace

extern "C" OSTBASE_EXPORT char const plugin_place[] = PLUGIN_PLACE;

extern "C" OSTBASE_EXPORT char const *plugin_seen() {
  return visit.seen_at_load.c_str();
}
