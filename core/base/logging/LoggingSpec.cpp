// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingSpec.hpp"

#include "core/base/logging/LoggingCategory.hpp"

#include <algorithm>
#include <cctype>
#include <new>
#include <utility>

namespace Ostrel {

namespace LoggingSpec {

namespace {

constexpr char ENTRY_END = ';';
constexpr char PRIORITY_START = ',';

struct NamedPriority {
  std::string_view name;
  LoggingPriority::PriorityLevel priority;
};

constexpr NamedPriority NAMED_PRIORITIES[] = {
    {"", LoggingPriority::DEBUG},      {"FATAL", LoggingPriority::FATAL},
    {"ERROR", LoggingPriority::ERROR}, {"WARN", LoggingPriority::WARN},
    {"INFO", LoggingPriority::INFO},   {"TRACE", LoggingPriority::TRACE},
    {"DEBUG", LoggingPriority::DEBUG}, {"VERBOSE", LoggingPriority::VERBOSE}};

bool is_same_letter(char left, char right) {
  return std::tolower(static_cast<unsigned char>(left)) ==
         std::tolower(static_cast<unsigned char>(right));
}

} // namespace

Entry read_entry(std::string_view text, unsigned int position) {
  if (position >= text.size()) {
    return {{}, {}, LoggingCategory::npos};
  }
  std::size_t const end = text.find(ENTRY_END, position);
  bool const is_last = end == std::string_view::npos;
  std::string_view const entry = text.substr(position, is_last ? end : end - position);
  std::size_t const comma = entry.find(PRIORITY_START);
  return {entry.substr(0, comma),
          comma == std::string_view::npos ? std::string_view() : entry.substr(comma + 1),
          is_last ? LoggingCategory::npos : static_cast<unsigned int>(end + 1)};
}

LoggingPriority::PriorityLevel priority_from_name(std::string_view name) {
  for (NamedPriority const &known : NAMED_PRIORITIES) {
    if (is_same_word(name, known.name)) {
      return known.priority;
    }
  }
  return LoggingPriority::NOT_SET;
}

bool is_same_word(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), is_same_letter);
}

} // namespace LoggingSpec

unsigned int LoggingCategory::parse_logging_spec(std::string text, unsigned int position,
                                                 std::string *category, std::string *priority) try {
  std::string const entries = std::move(text); // the entry's parts point into it
  LoggingSpec::Entry const entry = LoggingSpec::read_entry(entries, position);
  if (category != nullptr) {
    *category = entry.category;
  }
  if (priority != nullptr) {
    *priority = entry.priority;
  }
  return entry.next;
} catch (std::bad_alloc const &) {
  return npos;
}

} // namespace Ostrel
