// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/UnitCommands.hpp"

#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Numbers.hpp"
#include "tools/ostrel/UnitNames.hpp"

#include <nlohmann/json.hpp>

#include <cmath>

namespace Ostrel::Tool {

namespace {

double convert(UnitType type, double value, std::string const &from, std::string const &to) {
  Units::convert_units(type, from, value, to, &value);
  return rounded(value);
}

// Null, after an error, if there is no such unit.
UnitKind const *kind_of(Output &output, std::string const &unit) {
  UnitKind const *const kind = find_kind_of(unit);
  if (kind == nullptr) {
    output.error("there is no unit '" + unit + "'" + did_you_mean(unit, all_units()));
  }
  return kind;
}

void print_kind(Output &output, UnitKind const &kind) {
  for (std::string const &unit : kind.units) {
    double const size = convert(kind.type, 1, unit, kind.base_unit);
    if (output.is_json()) {
      output.print_json(
          {{"name", unit}, {"kind", kind.name}, {"size", size}, {"base", kind.base_unit}});
    } else {
      output.line(unit + " (" + kind.name + ") = " + number_text(size) + ' ' + kind.base_unit);
    }
  }
}

} // namespace

int run_units_convert(Output &output, std::string const &number, std::string const &from,
                      std::string const &to) {
  double value = 0;
  if (!parse_number(number, &value) || !std::isfinite(value)) {
    output.error("'" + number + "' is not a number");
    return STATUS_USAGE;
  }
  UnitKind const *const from_kind = kind_of(output, from);
  UnitKind const *const to_kind = kind_of(output, to);
  if (from_kind == nullptr || to_kind == nullptr) {
    return STATUS_NOT_FOUND;
  }
  if (from_kind != to_kind) {
    output.error("'" + from + "' is a unit of " + from_kind->name + ", but '" + to +
                 "' is one of " + to_kind->name);
    return STATUS_USAGE;
  }
  double const converted = convert(from_kind->type, value, from, to);
  if (!std::isfinite(converted)) {
    output.error(number + ' ' + from + " is too large for a number of " + to);
    return STATUS_USAGE;
  }
  if (output.is_json()) {
    output.print_json({{"value", converted}, {"unit", to}, {"kind", to_kind->name}});
  } else {
    output.line(number_text(converted));
  }
  return STATUS_DONE;
}

int run_units_list(Output &output, std::string const &kind) {
  bool has_any = false;
  for (UnitKind const &each : unit_kinds()) {
    if (kind.empty() || kind == each.name) {
      print_kind(output, each);
      has_any = true;
    }
  }
  if (!has_any) {
    output.error("there is no kind '" + kind + "' of units" + did_you_mean(kind, kind_names()));
  }
  return has_any ? STATUS_DONE : STATUS_NOT_FOUND;
}

} // namespace Ostrel::Tool
