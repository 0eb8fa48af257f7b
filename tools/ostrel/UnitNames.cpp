// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/UnitNames.hpp"

namespace Ostrel::Tool {

std::vector<UnitKind> const &unit_kinds() {
  static std::vector<UnitKind> const kinds = {
      {UNIT_TYPE_DISTANCE,
       "distance",
       "cm",
       {"mm",         "millimeter",  "millimeters", "cm",     "centimeter", "centimeters",
        "Centimeter", "Centimeters", "m",           "meter",  "meters",     "in",
        "inch",       "inches",      "Inch",        "Inches", "ft",         "foot",
        "feet",       "Foot",        "Feet",        "fists"}},
      {UNIT_TYPE_ANGLE, "angle", "rad", {"rad", "radian", "radians", "deg", "degree", "degrees"}},
      {UNIT_TYPE_TIME,
       "time",
       "sec",
       {"ms", "millisecond", "milliseconds", "s", "sec", "second", "seconds", "min", "minute",
        "minutes", "h", "hr", "hour", "hours"}}};
  return kinds;
}

std::vector<std::string> kind_names() {
  std::vector<std::string> names;
  for (UnitKind const &kind : unit_kinds()) {
    names.push_back(kind.name);
  }
  return names;
}

std::vector<std::string> all_units() {
  std::vector<std::string> units;
  for (UnitKind const &kind : unit_kinds()) {
    units.insert(units.end(), kind.units.begin(), kind.units.end());
  }
  return units;
}

UnitKind const *find_kind_of(std::string const &unit) {
  for (UnitKind const &kind : unit_kinds()) {
    if (Units::are_valid_units(kind.type, unit)) {
      return &kind;
    }
  }
  return nullptr;
}

} // namespace Ostrel::Tool
