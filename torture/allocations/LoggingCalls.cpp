// SPDX-License-Identifier: Apache-2.0
// Categories, outputs and hierarchies; units.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/units/Units.hpp"
#include "torture/allocations/Calls.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;
using FailingMalloc::Strained;

Outcome log_to_root() {
  NewText const err(STANDARD_ERROR);
  bool const has_passed = strain([] {
    return LoggingCategory::get_instance("Torture.Root.A.Name.That.Needs.Memory").warn("A line");
  });
  // The category that drops everything has this name.
  return worst({has_passed ? Outcome::RIGHT : Outcome::REFUSED, err.is("WARN  - A line\n")});
}

Outcome log_where_environment_says() {
  // If a file could not be opened without memory, the output retries after 1 s.
  constexpr unsigned long PAUSE_MS = 1100;
  static bool has_failed = false;
  if (has_failed) {
    Platform::millisecond_sleep(PAUSE_MS);
  }
  NewText const file(in_directory("configured.log"));
  bool const has_passed = strain(
      [] { return LoggingCategory::get_instance("Torture.Configured").debug("Some detail"); });
  Outcome const outcome =
      worst({has_passed ? Outcome::RIGHT : Outcome::REFUSED, file.is("DEBUG - Some detail\n")});
  has_failed = outcome == Outcome::REFUSED;
  return outcome;
}

Outcome log_to_own_file() {
  std::string const path = in_directory("own.log");
  NewText const file(path);
  LoggingCategory &category = LoggingCategory::get_instance("Torture.Own");
  if (!category.warn_enabled()) {
    return Outcome::WRONG;
  }
  bool is_made = false;
  {
    Strained const here;
    auto output =
        std::unique_ptr<FileLoggingOutput>(new (std::nothrow) FileLoggingOutput(path.c_str()));
    is_made = output != nullptr;
    if (is_made) {
      category.set_logging_output(output.release());
      LoggingEvent const event("torture.own", "An event", LoggingPriority::ERROR, "a file.cpp", 7);
      category.get_logging_output()->write(event);
      LoggingCategoryPrefixed(&category, "A %s prefix", "rather long").warn("prefixed");
      category.get_logging_output()->re_open();
      category.warn("last");
    }
  }
  category.remove_logging_output();
  return !is_made ? Outcome::REFUSED
                  : worst({file.has("ERROR - An event [a file.cpp:7]\n"),
                           file.has("WARN  - A rather long prefix: prefixed\n"),
                           file.has("WARN  - last\n")});
}

Outcome log_with_time() {
  NewText const err(STANDARD_ERROR);
  LoggingCategory &category = LoggingCategory::get_instance("Torture.Time");
  strain([&] { return LoggingCategoryPostfixed(&category).warn("The time"); });
  std::string const text = err.text();
  std::size_t const message = text.find("  The time [time]\n");
  return message == 16 && text[10] == ':' && text[13] == ':' ? Outcome::RIGHT : Outcome::REFUSED;
}

Outcome change_outputs() {
  LoggingCategory &category = LoggingCategory::get_instance("Torture.Changed");
  Strained const here;
  category.set_logging_output(nullptr);
  ILoggingOutput *const output = category.get_logging_output();
  if (output == nullptr) {
    return Outcome::WRONG; // the root's
  }
  output->set_layout(nullptr);
  bool const has_layout = output->get_layout() != nullptr;
  category.remove_logging_output();
  return has_layout ? Outcome::RIGHT : Outcome::REFUSED;
}

Outcome make_hierarchy() {
  std::string const name = "a.category.of.this.hierarchy";
  Strained const here;
  LoggingHierarchy hierarchy;
  LoggingCategory const *const category = hierarchy.get_instance(name);
  LoggingCategory const &root = hierarchy.get_root_category();
  return all_or_nothing(category != nullptr &&
                            category->granted_priority() == LoggingPriority::INFO,
                        category == nullptr || root.logging_disabled());
}

Outcome parse_specification() {
  std::string text = "a.category.with.a.long.name,INFO;b", category, priority;
  unsigned int const next = strain([&] {
    return LoggingCategory::parse_logging_spec(std::move(text), 0, &category, &priority);
  });
  return all_or_nothing(next == 33 && category == "a.category.with.a.long.name" &&
                            priority == "INFO",
                        next == LoggingCategory::npos);
}

Outcome convert_units() {
  double result = 0.0;
  unsigned long const converted =
      strain([&] { return Units::convert_units(UNIT_TYPE_DISTANCE, "m", 2.0, "cm", &result); });
  std::string name;
  unsigned long const got = strain([&] { return Units::get_default_units(UNIT_TYPE_TIME, &name); });
  return worst({by_code(converted, result == 200.0), by_code(got, name == "sec")});
}

Outcome refuse_units() {
  NewText const err(STANDARD_ERROR);
  double result = 0.0;
  std::string unknown = "parsecs, as far as anybody knows";
  unsigned long const code = strain([&] {
    return Units::convert_units(UNIT_TYPE_DISTANCE, "m", 1.0, std::move(unknown), &result);
  });
  return code == RESULT_INVALID_ARGUMENT
             ? err.is("WARN  - Failed to acquire output units 'parsecs, as far as anybody knows' "
                      "for unit conversion\n")
             : Outcome::WRONG;
}

} // namespace

std::vector<Call> logging_calls() {
  return {
      {"log to the root", log_to_root},
      {"log where the environment says", log_where_environment_says},
      {"log to a file of its own", log_to_own_file},
      {"log with the time", log_with_time},
      {"change outputs", change_outputs},
      {"make a hierarchy", make_hierarchy},
      {"parse a logging specification", parse_specification},
      {"convert units", convert_units},
      {"refuse units", refuse_units},
  };
}
