// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

namespace Ostrel {

/// The kinds of quantities. Values outside the list are taken by every operation, and are no kind.
enum UnitType : int {
  UNIT_TYPE_DISTANCE = 0, ///< Measured by the centimeter, the default at first.
  UNIT_TYPE_ANGLE = 1,    ///< Measured by the radian, the default at first.
  UNIT_TYPE_TIME = 2      ///< Measured by the second, the default at first.
};

/// Units by their names, and conversions between those of one kind.
///
/// Names are matched byte for byte: "Inch" and "inch" are units, "INCH" is none. The accepted ones
/// are, in lines of equal size:
///
/// | kind     | size        | names                                                          |
/// |----------|-------------|----------------------------------------------------------------|
/// | distance | 0.1 cm      | mm, millimeter, millimeters                                    |
/// | ^        | 1 cm        | cm, centimeter, centimeters, Centimeter, Centimeters           |
/// | ^        | 100 cm      | m, meter, meters                                               |
/// | ^        | 2.54 cm     | in, inch, inches, Inch, Inches                                 |
/// | ^        | 30.48 cm    | ft, foot, feet, Foot, Feet                                     |
/// | ^        | 32 cm       | fists                                                          |
/// | angle    | 1 rad       | rad, radian, radians                                           |
/// | ^        | pi/180 rad  | deg, degree, degrees                                           |
/// | time     | 0.001 s     | ms, millisecond, milliseconds                                  |
/// | ^        | 1 s         | s, sec, second, seconds                                        |
/// | ^        | 60 s        | min, minute, minutes                                           |
/// | ^        | 3600 s      | h, hr, hour, hours                                             |
///
/// Each kind has one default unit for the whole process: "cm", "rad" and "sec" until another one is
/// set. Any thread may call any operation at any time. A conversion beside a change of the default
/// uses the old one or the new one; whoever needs to know which keeps the two apart.
///
/// A conversion computes `value * size of the first / size of the second`, so that the way from a
/// unit to itself may cost the last bit. Its result is untouched on failure; null is refused.
/// Warnings go to the category "Ostrel.Core.Base.Units".
class OSTBASE_API Units {
public:
  /// Gives the default unit by the name that it was set by.
  ///
  /// @param units  receives the name; untouched on failure; null is refused.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` or `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_default_units(UnitType type, std::string *units);

  /// Makes a unit the default; on failure the old one stays.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` for an unknown kind or `RESULT_NOT_FOUND`
  ///         for an unknown name.
  static unsigned long set_default_units(UnitType type, std::string units);

  /// Converts from a unit into the default one.
  ///
  /// @return `RESULT_SUCCESS`, or `RESULT_INVALID_ARGUMENT` for an unknown kind or name, with a
  ///         warning, and for no result.
  static unsigned long convert_to_default_units(UnitType type, std::string units, double value,
                                                double *result);

  /// Converts from the default unit into another one.
  ///
  /// @return `RESULT_SUCCESS`; `RESULT_FAILURE` for an unknown kind or `RESULT_INVALID_ARGUMENT`
  ///         for an unknown name, both with a warning; `RESULT_INVALID_ARGUMENT` for no result.
  static unsigned long convert_to_specified_units(UnitType type, std::string units, double value,
                                                  double *result);

  /// Converts from one unit into another one.
  ///
  /// @return as `convert_to_default_units`.
  static unsigned long convert_units(UnitType type, std::string from_units, double value,
                                     std::string to_units, double *result);

  /// Tells whether that is the name of a unit of that kind.
  static bool are_valid_units(UnitType type, std::string units);
};

} // namespace Ostrel
