// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/LogSetUp.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace Ostrel::Tool {

namespace {

// The priority that was meant ("warning", "err", "DEBGU"); empty if none is near.
std::string nearest_priority(std::string_view text) {
  constexpr std::size_t SHORTEST = 3; // letters that tell a priority from the others
  for (std::string const &name : log_priorities()) {
    std::string const meant = lower(name), written = lower(text);
    if (written.size() >= SHORTEST &&
        (starts_with(written, meant) || starts_with(meant, written))) {
      return name;
    }
  }
  std::string const *const nearest = find_nearest(text, log_priorities());
  return nearest == nullptr ? "" : *nearest;
}

// Whether the name is the category without parts in the middle: "Ostrel.Base.Units".
bool lacks_parts(std::string const &name, std::string const &category) {
  std::vector<std::string> const written = split(lower(name), '.'),
                                 full = split(lower(category), '.');
  auto part = written.begin();
  for (std::string const &known : full) {
    part += part != written.end() && *part == known ? 1 : 0;
  }
  return part == written.end() && written.front() == full.front() &&
         written.back() == full.back() && written.size() < full.size();
}

// The category of the library that was meant; empty if the name is right or belongs to a program,
// whose categories may have any name, also below "Ostrel".
std::string meant_category(std::string const &name) {
  std::vector<std::string> const &categories = log_categories();
  std::string const written = lower(name);
  bool const is_known =
      std::any_of(categories.begin(), categories.end(),
                  [&written](std::string const &category) { return lower(category) == written; });
  if (is_known) {
    return "";
  }
  for (std::string const &category : categories) {
    if (letters_of(name) == letters_of(category) || is_misspelling(name, category) ||
        lacks_parts(name, category)) {
      return category;
    }
  }
  if (!starts_with(written, "ostrel.core.base.")) {
    return "";
  }
  auto const begins = [&written](std::string const &category) {
    return starts_with(lower(category), written);
  };
  bool const is_start_of_one = std::count_if(categories.begin(), categories.end(), begins) == 1;
  return is_start_of_one ? *std::find_if(categories.begin(), categories.end(), begins)
                         : "Ostrel.Core.Base";
}

// "CATEGORY=PRIORITY" and the like with a comma; empty if the text is not of this form.
std::string with_comma(std::string const &entry) {
  constexpr char const *SEPARATORS = "=: |/\t";
  std::size_t const separator = entry.find_last_of(SEPARATORS);
  std::string const priority =
      separator == entry.npos ? "" : nearest_priority(entry.substr(separator + 1));
  std::size_t const end = entry.find_last_not_of(SEPARATORS, separator);
  return priority.empty() ? "" : entry.substr(0, end + 1) + "," + priority;
}

std::string expected_form() {
  return "write CATEGORY,PRIORITY, with ';' in front of the next entry; the priority is " +
         listed(log_priorities());
}

class Priorities {
public:
  Priorities(LogVariable variable, bool is_correction, std::vector<Finding> *findings)
      : variable_(std::move(variable)), is_correction_(is_correction), findings_(findings) {}

  void diagnose() {
    if (variable_.value.empty()) {
      add("it is set to the empty text and has no effect", "unset it");
    }
    for (LogEntry const &entry : read_log_entries(variable_.value)) {
      diagnose_entry(entry);
      if (!categories_.insert(lower(entry.category)).second) {
        add("the category '" + entry.category + "' stands twice, and only its last entry counts",
            "remove one of the two");
      }
      category_before_ = entry.priority.empty() ? entry.category : "Ostrel";
    }
  }

private:
  void add(std::string const &what, std::string const &instead) {
    findings_->push_back({"", 0, variable_.name + ": " + what, instead});
  }

  // The correction to an entry, or what is expected if that would be wrong as well.
  std::string correction(std::string const &text) const {
    std::vector<Finding> findings;
    if (!is_correction_) {
      Priorities({variable_.name, text, true}, /*is_correction=*/true, &findings).diagnose();
    }
    return findings.empty() ? "write " + text : expected_form();
  }

  void diagnose_entry(LogEntry const &entry) {
    bool const has_comma = entry.text.size() > entry.category.size();
    if (entry.category.empty()) {
      diagnose_end(entry);
    } else if (!diagnose_characters(entry) &&
               !(has_comma ? diagnose_order(entry) : diagnose_separator(entry.category))) {
      diagnose_priority(entry);
      diagnose_category(entry.category);
    }
  }

  // An entry without a category, which ends the list.
  void diagnose_end(LogEntry const &entry) {
    if (entry.priority.empty()) {
      add("the empty entry ends the list: '" + variable_.value.substr(entry.position) +
              "' has no effect",
          "write one ';' between entries, and none in front");
    } else {
      add("the entry '" + entry.text + "' has no category", correction("Ostrel" + entry.text));
    }
  }

  // Quotes, as JSON has them too, and blanks.
  bool diagnose_characters(LogEntry const &entry) {
    std::string plain = entry.text;
    auto const is_quote = [](char c) {
      return std::string_view("\"'{}[]").find(c) != std::string_view::npos;
    };
    plain.erase(std::remove_if(plain.begin(), plain.end(), is_quote), plain.end());
    if (plain != entry.text) {
      std::string const separated = with_comma(plain);
      add("the quotes in '" + entry.text + "' are part of the name",
          correction(separated.empty() ? plain : separated));
      return true;
    }
    std::string_view const category = trimmed(entry.category), priority = trimmed(entry.priority);
    if (category != entry.category || priority != entry.priority) {
      add("the blanks in '" + entry.text + "' are part of the name",
          correction(std::string(category) + (priority.empty() ? "" : ",") +
                     std::string(priority)));
      return true;
    }
    return false;
  }

  // An entry with a comma: what is in front of it, and behind it.
  bool diagnose_order(LogEntry const &entry) {
    std::string const priority = log_priority_of(entry.category);
    if (entry.priority.empty()) {
      add("the entry '" + entry.text + "' has no priority, and DEBUG is used",
          "write " + entry.text + "DEBUG");
      return true;
    }
    if (!priority.empty() && log_priority_of(entry.priority).empty()) {
      add("'" + entry.text + "' begins with the priority",
          correction(entry.priority + "," + priority));
      return true;
    }
    return false;
  }

  // An entry without a comma: a priority alone, or with another separator, such as
  // CATEGORY=PRIORITY.
  bool diagnose_separator(std::string const &entry) {
    if (std::string const priority = log_priority_of(entry); !priority.empty()) {
      add("'" + entry + "' is a priority, but an entry begins with a category",
          "write " + category_before_ + "," + priority);
      return true;
    }
    std::string const separated = with_comma(entry);
    if (separated.empty()) {
      return false;
    }
    add("'" + entry + "' has another separator than ','", correction(separated));
    return true;
  }

  void diagnose_priority(LogEntry const &entry) {
    std::string const &priority = entry.priority;
    if (priority.empty() || !log_priority_of(priority).empty()) {
      return;
    }
    std::size_t const separator = priority.find_first_of(",:| \t");
    std::string const first = log_priority_of(priority.substr(0, separator));
    if (!first.empty() && separator != priority.npos) {
      std::string const rest(trimmed(priority.substr(separator + 1)));
      bool const is_entry = rest.find(',') != rest.npos;
      add("'" + entry.text + "' is taken for one entry",
          correction(entry.category + "," + first + (is_entry ? ";" + rest : "")) +
              (is_entry || rest.empty() ? "" : "; a file belongs in OSTREL_LOG_OUTPUT"));
      return;
    }
    std::string const nearest = nearest_priority(priority);
    add("'" + priority + "' is not a priority: the category inherits one",
        "write " + (nearest.empty() ? listed(log_priorities()) : nearest));
  }

  void diagnose_category(std::string const &category) {
    if (category.find('*') != category.npos || lower(category) == "root") {
      std::string const above = category.substr(0, category.find_last_not_of(".*") + 1);
      bool const is_all = above.empty() || lower(above) == "root" || above.find('*') != above.npos;
      add("'" + category + "' is taken literally: a category sets those below it as well",
          "write " + (is_all ? "Ostrel" : above));
    } else if (category.find('=') != category.npos) {
      add("the '=' in '" + category + "' is part of the name", expected_form());
    } else if (std::string const meant = meant_category(category); !meant.empty()) {
      add("the library has no category '" + category + "'", "write " + meant);
    }
  }

  LogVariable variable_;
  bool is_correction_; // itself, and its own are not looked at
  std::vector<Finding> *findings_;
  std::set<std::string> categories_;       // so far, in lower case
  std::string category_before_ = "Ostrel"; // to which a priority alone belongs
};

void diagnose_twin(std::string const &name, std::string const &other,
                   std::vector<Finding> *findings) {
  std::map<std::string, std::string> variables = read_variables();
  if (variables.count(name) > 0 && variables.count(other) > 0 &&
      variables[name] != variables[other]) {
    findings->push_back({"", 0, other + ": it has no effect, because " + name + " is set as well",
                         "unset one of the two"});
  }
}

} // namespace

void diagnose_logging(std::vector<Finding> *findings) {
  diagnose_twin("OSTREL_LOG_PRIORITY", "OVRA_LOG_PRIORITY", findings);
  diagnose_twin("OSTREL_LOG_OUTPUT", "OVRA_LOG_OUTPUT", findings);
  LogVariable const priority = read_log_priority(), output = read_log_output();
  if (priority.is_set) {
    Priorities(priority, /*is_correction=*/false, findings).diagnose();
  }
  if (output.is_set && !priority.is_set) {
    findings->push_back({"", 0,
                         output.name + ": it has no effect without OSTREL_LOG_PRIORITY, which "
                                       "lists the categories of the file",
                         "set OSTREL_LOG_PRIORITY=Ostrel,INFO"});
  } else if (output.is_set) {
    if (std::optional<PathFault> const fault = find_log_file_fault(output.value)) {
      findings->push_back({"", 0, output.name + ": " + fault->what, fault->instead});
    }
  }
}

} // namespace Ostrel::Tool
