// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingSetUp.hpp"

#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingSpec.hpp"
#include "core/base/logging/ProcessLogging.hpp"
#include "core/base/platform/Environment.hpp"

#include <memory>
#include <string>

namespace Ostrel {

namespace {

bool read_first_set(char const *name, char const *fallback_name, std::string *value) {
  return read_environment(name, value) || read_environment(fallback_name, value);
}

} // namespace

// Uses the argument rather than LoggingCategory::get_instance: the hierarchy is not published yet.
bool LoggingSetUp::configure(LoggingHierarchy &hierarchy) {
  std::string text;
  if (!read_first_set("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY", &text)) {
    return true;
  }
  bool is_done = true;
  LoggingSpec::Entry entry = LoggingSpec::read_entry(text, 0);
  while (is_done && !entry.category.empty()) {
    LoggingCategory *const category =
        ProcessLogging::find_category(hierarchy, std::string(entry.category).c_str());
    is_done = category != nullptr &&
              configure_category(*category, LoggingSpec::priority_from_name(entry.priority));
    entry = LoggingSpec::read_entry(text, entry.next);
  }
  return is_done;
}

bool LoggingSetUp::configure_category(LoggingCategory &category,
                                      LoggingPriority::PriorityLevel priority) {
  category.set_priority(priority);
  std::string path;
  if (!read_first_set("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT", &path)) {
    return true;
  }
  auto output = std::make_unique<FileLoggingOutput>(path.c_str());
  bool const is_complete = output->is_complete();
  category.set_logging_output(output.release());
  return is_complete;
}

} // namespace Ostrel
