// SPDX-License-Identifier: Apache-2.0
// A process ends while its threads are in calls of the library, whose destructors run.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ObjectImpl.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <functional>
#include <string>
#include <thread>

#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned int HANG_S = 20;
constexpr useconds_t LONGEST_LIFE_US = 20000;

[[noreturn]] void log_for_ever() {
  for (unsigned int i = 0;; ++i) {
    LoggingCategory::get_instance(("exits." + std::to_string(i % 50)).c_str()).warn("%u", i);
  }
}

[[noreturn]] void use_settings_for_ever() {
  std::string value;
  for (unsigned int i = 0;; ++i) {
    std::string const key = "UserConfig/Key" + std::to_string(i % 5000) + "/Name";
    UserConfig::set_user_config(key.c_str(), "value", /*commit=*/false);
    UserConfig::get_user_config(key.c_str(), &value);
  }
}

[[noreturn]] void read_for_ever(Configuration const &configuration) {
  std::string value;
  for (;;) {
    configuration.get_value("UserConfig/Key", "Name", &value);
  }
}

class Counted : public ObjectImpl {
public:
  Counted() : ObjectImpl(SAFETY_GLOBAL) {}
};

[[noreturn]] void count_for_ever(IObject *object) {
  for (;;) {
    object->add_ref();
    object->remove_ref();
  }
}

// The threads are never joined; the program's objects that they use are never destroyed.
Role const role("exits", [](Role::Arguments const &arguments) {
  alarm(HANG_S);
  auto *const source = new XmlConfigSource;
  auto *const configuration = new Configuration(*source);
  if (configuration->init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr) !=
      RESULT_SUCCESS) {
    return 1;
  }
  std::thread(log_for_ever).detach();
  std::thread(use_settings_for_ever).detach();
  std::thread(use_settings_for_ever).detach();
  std::thread(read_for_ever, std::cref(*configuration)).detach();
  std::thread(count_for_ever, new Counted).detach();
  usleep(static_cast<useconds_t>(std::stoul(arguments[0])) * 7919 % LONGEST_LIFE_US);
  return 0;
});

} // namespace

int torture() {
  Torture torture("A process can end while its threads are in calls");
  TemporaryDirectory const directory;
  std::string const log = directory.path("log");
  write_file(directory.path("user-config.xml"), "<UserConfig><Key Name='value'/></UserConfig>");
  unsigned int const count = rounds(1000);
  for (unsigned int i = 0; i < count; ++i) {
    ChildResult const ended = run_child("exits", {std::to_string(i)},
                                        {{"OSTREL_CONFIG_PATH", directory.path().c_str()},
                                         {"OSTREL_LOG_PRIORITY", "exits,WARN"},
                                         {"OSTREL_LOG_OUTPUT", log.c_str()}});
    if (ended.status != 0) {
      torture.fault("process %u ends with %d: %s", i, ended.status, ended.err.c_str());
    }
  }
  return torture.row(
      "%u processes with five threads that log, count owners, and read and change settings", count);
}
