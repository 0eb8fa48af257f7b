// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/LogSetUp.hpp"

#include "core/base/logging/LoggingCategory.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <utility>

namespace Ostrel::Tool {

namespace {

LogVariable read_first_set(std::string const &name, std::string const &fallback) {
  std::map<std::string, std::string> const variables = read_variables();
  for (std::string const &each : {name, fallback}) {
    if (auto const found = variables.find(each); found != variables.end()) {
      return {each, found->second, true};
    }
  }
  return {name, "", false};
}

} // namespace

LogVariable read_log_priority() {
  return read_first_set("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY");
}

LogVariable read_log_output() {
  return read_first_set("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT");
}

std::vector<LogEntry> read_log_entries(std::string const &text) {
  std::vector<LogEntry> entries;
  bool is_ended = false;
  for (unsigned int position = 0, next = 0; position < text.size() && !is_ended; position = next) {
    LogEntry entry;
    next = LoggingCategory::parse_logging_spec(text, position, &entry.category, &entry.priority);
    std::size_t const end = next == LoggingCategory::npos ? text.size() : next - 1;
    entry.text = text.substr(position, end - position);
    entry.position = position;
    is_ended = entry.category.empty();
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<std::string> const &log_priorities() {
  static std::vector<std::string> const names = [] {
    std::vector<std::string> result;
    for (LoggingPriority::PriorityLevel const level :
         {LoggingPriority::LEVEL_FATAL, LoggingPriority::LEVEL_ERROR, LoggingPriority::LEVEL_WARN,
          LoggingPriority::LEVEL_INFO, LoggingPriority::LEVEL_TRACE, LoggingPriority::LEVEL_DEBUG,
          LoggingPriority::LEVEL_VERBOSE}) {
      result.emplace_back(trimmed(LoggingPriority::get_priority_name(level)));
    }
    return result;
  }();
  return names;
}

std::string log_priority_of(std::string_view text) {
  for (std::string const &name : log_priorities()) {
    if (lower(name) == lower(text)) {
      return name;
    }
  }
  return "";
}

std::vector<std::string> const &log_categories() {
  static std::vector<std::string> const categories = {"Ostrel",
                                                      "Ostrel.Core",
                                                      "Ostrel.Core.Base",
                                                      "Ostrel.Core.Base.Configuration",
                                                      "Ostrel.Core.Base.EnvironmentSetup",
                                                      "Ostrel.Core.Base.Platform",
                                                      "Ostrel.Core.Base.TestUtils",
                                                      "Ostrel.Core.Base.Units",
                                                      "Ostrel.Core.Base.UserConfig",
                                                      "Ostrel.Core.Base.Win32ConditionVariable",
                                                      "Ostrel.Core.Base.Win32Mutex",
                                                      "Ostrel.Core.Base.Win32Platform",
                                                      "Ostrel.Core.Base.Win32SharedLibrary",
                                                      "Ostrel.Core.Base.XmlConfigSource"};
  return categories;
}

} // namespace Ostrel::Tool
