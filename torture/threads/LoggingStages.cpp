// SPDX-License-Identifier: Apache-2.0
// Categories, wrappers and one output that several threads write to, from C++ and from C; units.
#include "core/base/capi/ovra.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/units/Units.hpp"
#include "tests/support/Files.hpp"
#include "torture/threads/Stage.hpp"

#include <memory>
#include <sstream>
#include <string>

using namespace Ostrel;

namespace {

constexpr LoggingPriority::PriorityLevel LEVELS[] = {
    LoggingPriority::LEVEL_DISABLED, LoggingPriority::LEVEL_WARN, LoggingPriority::LEVEL_VERBOSE,
    LoggingPriority::LEVEL_NOT_SET};
constexpr char LINE[] = "a line of the threads";
std::string const POSTFIX = " []";

// A category with a file, which its sub-categories write to, and a separate hierarchy.
struct Logs {
  TemporaryDirectory directory;
  std::string const file = directory.path("log");
  FileLoggingOutput output{file.c_str()};
  LoggingHierarchy hierarchy;

  Logs() { category().set_logging_output(new FileLoggingOutput(file.c_str())); }
  Logs(Logs const &) = delete;
  Logs &operator=(Logs const &) = delete;
  ~Logs() { category().remove_logging_output(); }

  static LoggingCategory &category() { return LoggingCategory::get_instance("torture.threads"); }
};

// A random name, from a range that grows.
std::string name_of(Context const &context) {
  return "Torture.Threads.C" + std::to_string(context.random % 500) + ".D";
}

void log_by_levels(Context const &context) {
  LoggingCategory &category = LoggingCategory::get_instance(name_of(context).c_str());
  category.warn("%s", LINE);
  category.verbose("%s", LINE);
  category.priority_satisfied(context.pick(LEVELS));
  category.get_granted_priority_name();
}

void log_wrapped() {
  LoggingCategoryPostfixed postfixed(&Logs::category(), "%s", "");
  LoggingCategoryPrefixed prefixed(&Logs::category(), "%s", "");
  postfixed.error("%s", LINE);
  prefixed.error("%s", LINE);
}

void log_from_c(Context const &context) {
  ovra_log__warn_no_debug("torture.threads.c", "%s", LINE);
  ovra_log__info("torture.threads.c", "%s", LINE);
  ovra_log__set_priority(ovra_log__get_instance("torture.threads.c"), context.pick(LEVELS));
}

// Lines are complete, whatever the thresholds.
void check_lines(Torture &torture, Logs const &logs) {
  std::istringstream text(read_file(logs.file));
  for (std::string line; std::getline(text, line);) {
    // The end of each message, before the empty location that the postfixed category appends.
    std::size_t const message = line.rfind(LINE);
    bool const is_whole = message != std::string::npos && line.rfind(" - ") < message &&
                          (line.substr(message) == LINE || line.substr(message) == LINE + POSTFIX);
    if (!is_whole) {
      torture.fault("a torn line: %s", line.c_str());
      return;
    }
  }
}

} // namespace

Stage logging(Torture &torture) {
  auto const logs = std::make_shared<Logs>();
  return {
      {[](Context const &context) { log_by_levels(context); },
       [](Context const &) { log_wrapped(); }, [](Context const &context) { log_from_c(context); },
       [](Context const &) { Logs::category().warn("%s", LINE); },
       [](Context const &context) { Logs::category().set_priority(context.pick(LEVELS)); },
       [](Context const &context) {
         LoggingCategory::get_instance(name_of(context).c_str()).set_priority(context.pick(LEVELS));
       },
       [](Context const &) { LoggingCategory::set_root_priority(LoggingPriority::LEVEL_INFO); },
       [logs](Context const &) {
         logs->output.write(LoggingEvent("threads", LINE, LoggingPriority::LEVEL_WARN, nullptr, 0));
       },
       [logs](Context const &context) {
         LoggingCategory &category = logs->hierarchy.get_value(name_of(context));
         category.set_priority(context.pick(LEVELS));
         category.granted_priority();
       },
       [logs](Context const &context) {
         logs->hierarchy.get_instance(name_of(context));
         logs->hierarchy.get_root_category().warn_enabled();
       }},
      [&torture, logs] { check_lines(torture, *logs); }};
}

Stage units(Torture &torture) {
  return {{[](Context const &context) {
             Units::set_default_units(UNIT_TYPE_DISTANCE, context.pick({"cm", "m", "nonsense"}));
           },
           [&torture](Context const &) {
             std::string text;
             Units::get_default_units(UNIT_TYPE_DISTANCE, &text);
             if (text != "cm" && text != "m") {
               torture.fault("the default unit is '%s'", text.c_str());
             }
           },
           [&torture](Context const &) {
             double result = 0;
             Units::convert_units(UNIT_TYPE_DISTANCE, "m", 1, "cm", &result);
             if (result != 100) {
               torture.fault("1 m is %g cm", result);
             }
           },
           [&torture](Context const &) {
             double result = 0;
             Units::convert_to_default_units(UNIT_TYPE_DISTANCE, "m", 1, &result);
             if (result != 100 && result != 1) {
               torture.fault("1 m is %g", result);
             }
           },
           [](Context const &) {
             double result = 0;
             ovra_units__set_default(UNIT_TYPE_DISTANCE, "cm");
             ovra_units__convert_from_default(UNIT_TYPE_DISTANCE, "m", 1, &result);
           }}};
}
