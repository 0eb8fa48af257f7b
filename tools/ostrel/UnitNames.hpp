// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/units/Units.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

struct UnitKind {
  UnitType type;
  std::string name;      ///< "distance"
  std::string base_unit; ///< The unit of size 1.
  std::vector<std::string> units;
};

/// The kinds of quantities, with the names of all units that the library knows.
std::vector<UnitKind> const &unit_kinds();

/// The names of the kinds.
std::vector<std::string> kind_names();

/// The names of all units.
std::vector<std::string> all_units();

/// The kind of a unit; null if there is no unit of that name.
UnitKind const *find_kind_of(std::string const &unit);

} // namespace Ostrel::Tool
