// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/LogCategories.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace Ostrel::Tool {

namespace {

std::vector<std::string> const &priorities() {
  static std::vector<std::string> const names = {"FATAL", "ERROR", "WARN",   "INFO",
                                                 "TRACE", "DEBUG", "VERBOSE"};
  return names;
}

// What other systems call a priority.
constexpr std::pair<char const *, char const *> OTHER_PRIORITIES[] = {
    {"warning", "WARN"},       {"warnings", "WARN"}, {"err", "ERROR"},    {"errors", "ERROR"},
    {"critical", "FATAL"},     {"crit", "FATAL"},    {"emerg", "FATAL"},  {"information", "INFO"},
    {"notice", "INFO"},        {"dbg", "DEBUG"},     {"verb", "VERBOSE"}, {"all", "VERBOSE"},
    {"everything", "VERBOSE"}, {"off", "FATAL"},     {"none", "FATAL"},   {"disabled", "FATAL"},
    {"500", "DEBUG"},          {"600", "VERBOSE"},   {"400", "INFO"},     {"300", "WARN"}};

// A variable that the library reads under two names.
struct Variable {
  std::string name, value;
  bool is_set = false;
};

Variable read_first_set(std::string const &name, std::string const &fallback) {
  Variable variable{name, "", false};
  variable.is_set = Platform::get_environment_variable(name.c_str(), &variable.value);
  if (!variable.is_set) {
    variable.name = fallback;
    variable.is_set = Platform::get_environment_variable(fallback.c_str(), &variable.value);
  }
  return variable;
}

// The right name of a priority; empty if the text is none.
std::string priority_of(std::string_view text) {
  for (std::string const &name : priorities()) {
    if (lower(name) == lower(text)) {
      return name;
    }
  }
  return "";
}

// The priority that was meant; empty if none is near.
std::string nearest_priority(std::string_view text) {
  for (auto const &[other, name] : OTHER_PRIORITIES) {
    if (lower(text) == other) {
      return name;
    }
  }
  std::string const *const nearest = find_nearest(text, priorities());
  return nearest == nullptr ? "" : *nearest;
}

// Whether the name is a category whose parts are not all there: "Ostrel.Base.Units".
bool lacks_parts(std::string const &name, std::string const &category) {
  std::vector<std::string> const written = split(lower(name), '.'),
                                 full = split(lower(category), '.');
  auto part = written.begin();
  for (std::string const &known : full) {
    part += part != written.end() && *part == known ? 1 : 0;
  }
  return part == written.end() && written.back() == full.back() && written.size() < full.size();
}

// Whether the name is a class alone, misspelt. Short ones resemble the categories of programs.
bool is_misspelt_class(std::string const &name, std::string const &category) {
  constexpr std::size_t SHORTEST = 10; // characters
  std::string const last = category.substr(category.rfind('.') + 1);
  return last.size() >= SHORTEST && is_misspelling(name, last);
}

std::string with_dots(std::string_view name) {
  std::string result;
  for (char const c : lower(name)) {
    bool const is_separator = c == ':' || c == '/' || c == '\\' || c == '-' || c == '_';
    if (!is_separator) {
      result += c;
    } else if (!result.empty() && result.back() != '.') {
      result += '.';
    }
  }
  return result;
}

// The category of the library that was meant; empty if the name is right or belongs to a program.
std::string meant_category(std::string const &name) {
  std::vector<std::string> const &categories = log_categories();
  std::string const written = lower(name);
  for (std::string const &category : categories) {
    if (lower(category) == written) {
      return "";
    }
  }
  for (std::string const &category : categories) {
    bool const is_class = category.rfind('.') != category.find('.');
    if (with_dots(name) == lower(category) || is_misspelling(name, category) ||
        (is_class && (lacks_parts(name, category) || is_misspelt_class(name, category)))) {
      return category;
    }
  }
  std::string const library = "ostrel.core.base.";
  if (starts_with(written, library)) {
    std::string const *const nearest = find_nearest(name, categories);
    return nearest == nullptr ? "Ostrel.Core.Base" : *nearest;
  }
  std::size_t const dot = name.find('.');
  if (dot != name.npos && lower(name.substr(0, dot)) != "ostrel" &&
      is_misspelling(name.substr(0, dot), "Ostrel")) {
    return "Ostrel" + name.substr(dot);
  }
  return "";
}

class PrioritySpec {
public:
  PrioritySpec(Variable const &variable, std::vector<Finding> *findings)
      : variable_(variable), findings_(findings) {}

  void diagnose() {
    std::string category, priority;
    unsigned int position = 0, next = 0;
    for (; next != LoggingCategory::npos; position = next) {
      next = LoggingCategory::parse_logging_spec(variable_.value, position, &category, &priority);
      if (category.empty()) {
        diagnose_end(position, priority);
        return;
      }
      diagnose_entry(category, priority);
      if (!categories_.insert(lower(category)).second) {
        add("the category '" + category + "' stands twice, and only its last entry counts",
            "remove one of the two");
      }
      category_before_ = priority.empty() ? category : "Ostrel";
    }
  }

private:
  void add(std::string const &what, std::string const &instead) {
    findings_->push_back({"", 0, variable_.name + ": " + what, instead});
  }

  // An entry without a category, which ends the list.
  void diagnose_end(unsigned int position, std::string const &priority) {
    bool const is_last = position >= variable_.value.size();
    if (variable_.value.empty()) {
      add("it is set to the empty text and has no effect", "unset it");
    } else if (!priority.empty()) {
      add("the entry ',' + '" + priority + "' has no category", "write Ostrel," + priority);
    } else if (!is_last) {
      add("the empty entry ends the list: '" + variable_.value.substr(position) + "' has no effect",
          "write one ';' between entries, and none in front");
    }
  }

  void diagnose_entry(std::string const &category, std::string const &priority) {
    std::string const entry = priority.empty() ? category : category + "," + priority;
    std::string_view const name = trimmed(category), level = trimmed(priority);
    if (entry.find_first_of("\"'") != entry.npos) {
      std::string plain = entry;
      plain.erase(
          std::remove_if(plain.begin(), plain.end(), [](char c) { return c == '"' || c == '\''; }),
          plain.end());
      add("the quotes in '" + entry + "' are part of the name", "write " + plain);
    } else if (name != category || level != priority) {
      add("the blanks in '" + entry + "' are part of the name",
          "write " + std::string(name) + (level.empty() ? "" : "," + std::string(level)));
    } else if (priority.empty() && !priority_of(category).empty()) {
      add("'" + category + "' is a priority, but an entry begins with a category",
          "write " + category_before_ + "," + priority_of(category));
    } else if (priority.empty() && diagnose_separator(category)) {
      return;
    } else if (!priority_of(category).empty() && priority_of(priority).empty()) {
      add("'" + entry + "' begins with the priority",
          "write " + priority + "," + priority_of(category));
    } else {
      diagnose_priority(category, priority);
      diagnose_category(category);
    }
  }

  // Whether the entry is CATEGORY=PRIORITY, or so.
  bool diagnose_separator(std::string const &entry) {
    std::size_t const separator = entry.find_last_of("=: |/\t");
    if (separator == entry.npos) {
      return false;
    }
    std::string const level = entry.substr(separator + 1);
    std::string const priority =
        priority_of(level).empty() ? nearest_priority(level) : priority_of(level);
    if (priority.empty()) {
      return false;
    }
    std::size_t const end = entry.find_last_not_of("=: |/\t", separator);
    add("'" + entry + "' has another separator than ','",
        "write " + entry.substr(0, end + 1) + "," + priority);
    return true;
  }

  void diagnose_priority(std::string const &category, std::string const &priority) {
    if (priority.empty() || !priority_of(priority).empty()) {
      return;
    }
    std::size_t const separator = priority.find_first_of(",:| \t");
    std::string const first = priority_of(priority.substr(0, separator));
    if (!first.empty() && separator != priority.npos) {
      add("'" + category + "," + priority + "' is taken for one entry",
          "write " + category + "," + first + ";" +
              std::string(trimmed(priority.substr(separator + 1))));
      return;
    }
    std::string const nearest = nearest_priority(priority);
    add("'" + priority + "' is not a priority: the category inherits one",
        "write " + (nearest.empty() ? listed(priorities()) : nearest));
  }

  void diagnose_category(std::string const &category) {
    if (category.find('*') != category.npos || lower(category) == "root") {
      std::string const above = category.substr(0, category.find_last_not_of(".*") + 1);
      add("'" + category + "' is taken literally: a category sets those below it as well",
          "write " +
              (above.find('.') == above.npos || above.find('*') != above.npos ? "Ostrel" : above));
      return;
    }
    std::string const meant = meant_category(category);
    if (!meant.empty()) {
      add("the library has no category '" + category + "'", "write " + meant);
    }
  }

  Variable const &variable_;
  std::vector<Finding> *findings_;
  std::set<std::string> categories_;       // so far, in lower case
  std::string category_before_ = "Ostrel"; // to which a priority alone belongs
};

void diagnose_output(Variable const &output, std::vector<Finding> *findings) {
  std::string const source = output.name + ": ";
  std::string const path = Platform::native_path(output.value.c_str());
  FileStatus const file = status_of(path), directory = status_of(directory_of(path));
  std::string const name = lower(output.value);
  if (name.empty()) {
    findings->push_back({"", 0, source + "it is set to the empty text: lines are lost",
                         "write a file, or unset it"});
  } else if (std::optional<PathFault> const fault = find_unexpanded(output.value)) {
    findings->push_back({"", 0, source + fault->what, fault->instead});
  } else if (name == "stderr" || name == "stdout" || name == "-" || name == "console") {
    findings->push_back({"", 0, source + "'" + output.value + "' is taken for a file",
                         "unset it: without it, lines go to standard error"});
  } else if (file.is_directory) {
    findings->push_back({"", 0, source + "'" + output.value + "' is a directory: lines are lost",
                         "write a file: " + path + "/robot.log"});
  } else if (!directory.exists) {
    std::string const nearest = find_nearest_path(directory_of(path));
    findings->push_back(
        {"", 0,
         source + "the directory '" + directory_of(path) + "' does not exist: lines are lost",
         nearest.empty() ? "create it" : "write " + nearest});
  } else if (file.exists ? !file.is_writable : !directory.is_writable) {
    findings->push_back({"", 0, source + "'" + output.value + "' cannot be written: lines are lost",
                         grant("w", file.exists ? path : directory_of(path))});
  }
}

void diagnose_twin(std::string const &name, std::string const &other,
                   std::vector<Finding> *findings) {
  std::string value, other_value;
  if (Platform::get_environment_variable(name.c_str(), &value) &&
      Platform::get_environment_variable(other.c_str(), &other_value) && value != other_value) {
    findings->push_back({"", 0, other + ": it has no effect, because " + name + " is set as well",
                         "unset one of the two"});
  }
}

} // namespace

void diagnose_logging(std::vector<Finding> *findings) {
  Variable const priority = read_first_set("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY");
  Variable const output = read_first_set("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT");
  diagnose_twin("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY", findings);
  diagnose_twin("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT", findings);
  if (priority.is_set) {
    PrioritySpec(priority, findings).diagnose();
  }
  if (output.is_set && !priority.is_set) {
    findings->push_back({"", 0,
                         output.name + ": it has no effect without OSTREL_LOG_PRIORITY, which "
                                       "lists the categories of the file",
                         "set OSTREL_LOG_PRIORITY=Ostrel,INFO"});
  } else if (output.is_set) {
    diagnose_output(output, findings);
  }
}

} // namespace Ostrel::Tool
