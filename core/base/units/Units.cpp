// SPDX-License-Identifier: Apache-2.0
#include "core/base/units/Units.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"

#include <array>
#include <atomic>
#include <cstddef>
#include <new>
#include <string_view>

namespace Ostrel {

namespace {

ClassCategory category("Ostrel.Core.Base.Units");

struct Unit {
  std::string_view name;
  double factor; // size in the base unit of its kind
};

constexpr double MILLIMETER = 0.1, CENTIMETER = 1.0, METER = 100.0;
// The international inch and foot are defined by the meter (NIST Special Publication 811, B.6).
constexpr double INCH = 2.54, FOOT = 30.48;
constexpr double FIST = 32.0;                                 // this library's definition
constexpr double RADIAN = 1.0, DEGREE = 0.017453292519943295; // pi / 180, to the nearest double
constexpr double MILLISECOND = 0.001, SECOND = 1.0, MINUTE = 60.0, HOUR = 3600.0;

constexpr Unit DISTANCES[] = {
    {"mm", MILLIMETER},
    {"millimeter", MILLIMETER},
    {"millimeters", MILLIMETER},
    {"cm", CENTIMETER},
    {"centimeter", CENTIMETER},
    {"centimeters", CENTIMETER},
    {"Centimeter", CENTIMETER},
    {"Centimeters", CENTIMETER},
    {"m", METER},
    {"meter", METER},
    {"meters", METER},
    {"in", INCH},
    {"inch", INCH},
    {"inches", INCH},
    {"Inch", INCH},
    {"Inches", INCH},
    {"ft", FOOT},
    {"foot", FOOT},
    {"feet", FOOT},
    {"Foot", FOOT},
    {"Feet", FOOT},
    {"fists", FIST},
};
constexpr Unit ANGLES[] = {
    {"rad", RADIAN}, {"radian", RADIAN}, {"radians", RADIAN},
    {"deg", DEGREE}, {"degree", DEGREE}, {"degrees", DEGREE},
};
constexpr Unit TIMES[] = {
    {"ms", MILLISECOND},
    {"millisecond", MILLISECOND},
    {"milliseconds", MILLISECOND},
    {"s", SECOND},
    {"sec", SECOND},
    {"second", SECOND},
    {"seconds", SECOND},
    {"min", MINUTE},
    {"minute", MINUTE},
    {"minutes", MINUTE},
    {"h", HOUR},
    {"hr", HOUR},
    {"hour", HOUR},
    {"hours", HOUR},
};

// The units of a kind in a perfect hash table: a look-up compares one name.
class Table {
public:
  template <std::size_t COUNT> constexpr explicit Table(Unit const (&units)[COUNT]) {
    for (Unit const &unit : units) {
      Unit &place = units_[place_of(unit.name)];
      is_perfect_ = is_perfect_ && place.name.empty();
      place = unit;
    }
  }

  // Whether no two names have the same hash.
  constexpr bool is_perfect() const { return is_perfect_; }

  // Null for an unknown name.
  constexpr Unit const *find(std::string_view name) const {
    if (name.empty()) {
      return nullptr;
    }
    Unit const &unit = units_[place_of(name)];
    return unit.name == name ? &unit : nullptr;
  }

private:
  static constexpr std::size_t PLACES = 64; // the smallest power of two with a perfect hash

  // The weights were found by trial; any that pass the assertion below will do.
  static constexpr std::size_t place_of(std::string_view name) {
    auto const first = static_cast<unsigned char>(name.front());
    auto const middle = static_cast<unsigned char>(name[name.size() / 2]);
    return (first + std::size_t(7) * middle + 3 * name.size()) % PLACES;
  }

  std::array<Unit, PLACES> units_ = {}; // unused places have empty names
  bool is_perfect_ = true;
};

constexpr std::array<Table, 3> TABLES = {Table(DISTANCES), Table(ANGLES), Table(TIMES)};
static_assert(TABLES[UNIT_TYPE_DISTANCE].is_perfect() && TABLES[UNIT_TYPE_ANGLE].is_perfect() &&
              TABLES[UNIT_TYPE_TIME].is_perfect());

// Always accessed relaxed: the units pointed to are constants.
using Default = std::atomic<Unit const *>;

std::array<Default, TABLES.size()> default_units = {Default(TABLES[UNIT_TYPE_DISTANCE].find("cm")),
                                                    Default(TABLES[UNIT_TYPE_ANGLE].find("rad")),
                                                    Default(TABLES[UNIT_TYPE_TIME].find("sec"))};

bool is_known(UnitType type) {
  return type >= 0 && static_cast<std::size_t>(type) < TABLES.size();
}

// Null for an unknown kind or name.
Unit const *find_unit(UnitType type, std::string_view name) {
  return is_known(type) ? TABLES[static_cast<std::size_t>(type)].find(name) : nullptr;
}

// Null for an unknown kind.
Default *find_default(UnitType type) {
  return is_known(type) ? &default_units[static_cast<std::size_t>(type)] : nullptr;
}

unsigned long convert(Unit const &from, double value, Unit const &to, double *result) {
  if (result == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  *result = value * from.factor / to.factor;
  return RESULT_SUCCESS;
}

unsigned long refuse(std::string const &units) {
  category().warn("Failed to acquire output units '%s' for unit conversion", units.c_str());
  return RESULT_INVALID_ARGUMENT;
}

} // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): the interface passes names by value.

unsigned long Units::get_default_units(UnitType type, std::string *units) try {
  Default const *const unit = find_default(type);
  if (units == nullptr || unit == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  *units = unit->load(std::memory_order_relaxed)->name;
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Units::set_default_units(UnitType type, std::string units) {
  Default *const unit = find_default(type);
  if (unit == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Unit const *const found = find_unit(type, units);
  if (found == nullptr) {
    return RESULT_NOT_FOUND;
  }
  unit->store(found, std::memory_order_relaxed);
  return RESULT_SUCCESS;
}

unsigned long Units::convert_to_default_units(UnitType type, std::string units, double value,
                                              double *result) {
  Unit const *const from = find_unit(type, units);
  if (from == nullptr) {
    category().warn("convert_to_default_units: Failure acquiring src units");
    return RESULT_INVALID_ARGUMENT;
  }
  return convert(*from, value, *find_default(type)->load(std::memory_order_relaxed), result);
}

unsigned long Units::convert_to_specified_units(UnitType type, std::string units, double value,
                                                double *result) {
  Default const *const from = find_default(type);
  if (from == nullptr) {
    category().warn("Failed to acquire default units for unit conversion");
    return RESULT_FAILURE;
  }
  Unit const *const to = find_unit(type, units);
  return to == nullptr ? refuse(units)
                       : convert(*from->load(std::memory_order_relaxed), value, *to, result);
}

unsigned long Units::convert_units(UnitType type, std::string from_units, double value,
                                   std::string to_units, double *result) {
  Unit const *const from = find_unit(type, from_units);
  if (from == nullptr) {
    return refuse(from_units);
  }
  Unit const *const to = find_unit(type, to_units);
  return to == nullptr ? refuse(to_units) : convert(*from, value, *to, result);
}

bool Units::are_valid_units(UnitType type, std::string units) {
  return find_unit(type, units) != nullptr;
}

// NOLINTEND(performance-unnecessary-value-param)

} // namespace Ostrel
