// SPDX-License-Identifier: Apache-2.0
// The text that configures logging: its entries together are the text again, and if it is set in
// the environment, its categories have its priorities.
#include "core/base/logging/LoggingCategory.hpp"
#include "fuzz/support/Fuzz.hpp"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <numeric>
#include <vector>

#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

struct Entry {
  std::string category, priority;
  std::string_view text; // both, with everything between them
};

Entry entry_of(std::string_view text) {
  std::size_t const comma = std::min(text.find(','), text.size());
  std::size_t const behind = std::min(comma + 1, text.size());
  return {std::string(text.substr(0, comma)), std::string(text.substr(behind)), text};
}

// The texts between the semicolons, without an empty one after the last.
std::vector<Entry> entries_of(std::string_view text) {
  std::vector<Entry> entries;
  while (!text.empty()) {
    std::string_view const entry = text.substr(0, text.find(';'));
    entries.push_back(entry_of(entry));
    text.remove_prefix(std::min(entry.size() + 1, text.size()));
  }
  return entries;
}

void check_entries(std::string const &text) {
  std::size_t position = 0;
  for (Entry const &entry : entries_of(text)) {
    std::string category = "stale", priority = "stale";
    unsigned int const next = LoggingCategory::parse_logging_spec(
        text, static_cast<unsigned int>(position), &category, &priority);
    require(category == entry.category && priority == entry.priority, "another entry at %zu",
            position);
    position += entry.text.size() + 1;
    require(next == (position > text.size() ? LoggingCategory::npos : position),
            "%u follows, not %zu", next, position);
  }
}

// Reading from a position equals reading the rest of the text.
void check_middle(std::string const &text, unsigned int from) {
  std::string category = "stale", priority = "stale", rest_category, rest_priority;
  unsigned int const next = LoggingCategory::parse_logging_spec(text, from, &category, &priority);
  std::string const rest = text.substr(std::min<std::size_t>(from, text.size()));
  unsigned int const rest_next =
      LoggingCategory::parse_logging_spec(rest, 0, &rest_category, &rest_priority);
  require(category == rest_category && priority == rest_priority, "another entry from %u", from);
  require(rest_next == LoggingCategory::npos ? next == LoggingCategory::npos
                                             : next == rest_next + from,
          "%u follows", next);
  require(from < text.size() || (category.empty() && next == LoggingCategory::npos),
          "an entry behind the end");
}

LoggingPriority::PriorityLevel level_of(std::string const &name) {
  std::map<std::string, LoggingPriority::PriorityLevel> const levels = {
      {"", LoggingPriority::DEBUG},      {"FATAL", LoggingPriority::FATAL},
      {"ERROR", LoggingPriority::ERROR}, {"WARN", LoggingPriority::WARN},
      {"INFO", LoggingPriority::INFO},   {"TRACE", LoggingPriority::TRACE},
      {"DEBUG", LoggingPriority::DEBUG}, {"VERBOSE", LoggingPriority::VERBOSE}};
  for (auto const &[level_name, level] : levels) {
    if (strcasecmp(level_name.c_str(), name.c_str()) == 0) {
      return level;
    }
  }
  return LoggingPriority::NOT_SET;
}

std::string lower_case(std::string text) {
  for (char &character : text) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return text;
}

void check_set_up(std::string const &text) {
  setenv("OSTREL_LOG_PRIORITY", text.c_str(), /*overwrite=*/1);
  std::map<std::string, LoggingPriority::PriorityLevel> expected;
  for (Entry const &entry : entries_of(text)) {
    if (entry.category.empty()) {
      break;
    }
    expected[lower_case(entry.category)] = level_of(entry.priority);
  }
  require(LoggingCategory::get_root_category().get_priority() == LoggingPriority::INFO,
          "the root is configured");
  for (auto const &[name, level] : expected) {
    LoggingCategory const &category = LoggingCategory::get_instance(name.c_str());
    require(category.get_category_name() == name, "'%s' is not registered", name.c_str());
    require(category.get_priority() == level, "'%s' is at %d", name.c_str(),
            category.get_priority());
  }
}

// In a child process, since a process configures itself once.
void check_set_up_in_a_child(std::string const &text) {
  pid_t const child = fork();
  require(child >= 0, "no child");
  if (child == 0) {
    check_set_up(text);
    _exit(0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) { // the fuzzer's timer interrupts it
  }
  require(status == 0, "the set-up ended with %d", status);
}

} // namespace

void fuzz(Input input) {
  constexpr unsigned int CHILDREN_APART = 16; // a child takes as long as hundreds of other inputs
  unsigned int const from = input.take_number(10);
  std::string const text(input.take_rest());
  check_entries(text);
  check_middle(text, from);
  if (std::accumulate(text.begin(), text.end(), from) % CHILDREN_APART == 0) {
    check_set_up_in_a_child(text.substr(0, text.find('\0')));
  }
}
