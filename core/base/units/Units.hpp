// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

namespace Ostrel {

/// The kinds of quantities. Every operation accepts other values and treats them as unknown kinds.
enum UnitType : int {
  UNIT_TYPE_DISTANCE = 0, ///< Base unit and initial default: the centimeter.
  UNIT_TYPE_ANGLE = 1,    ///< Base unit and initial default: the radian.
  UNIT_TYPE_TIME = 2      ///< Base unit and initial default: the second.
};

/// Looks up units by name and converts values between units of one kind.
///
/// Names are case-sensitive: "Inch" and "inch" are units, "INCH" is not. The names, one size to a
/// row:
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
/// Each kind has one default unit for the whole process, initially "cm", "rad" and "sec". Any
/// thread may call any operation at any time. A conversion that overlaps with a change of the
/// default uses the old or the new one.
///
/// A conversion computes `value * size of the first / size of the second`, so converting to the
/// same unit may change the last bit. The result is untouched on failure; a null result is refused.
/// Warnings go to the category "Ostrel.Core.Base.Units".
class OSTBASE_API Units {
public:
  /// Returns the default unit under the name with which it was set.
  ///
  /// @param units  receives the name; untouched on failure; null is refused.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` or `RESULT_OUT_OF_MEMORY`.
  static unsigned long get_default_units(UnitType type, std::string *units);

  /// Sets the default unit of a kind; on failure the old one stays.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` for an unknown kind or `RESULT_NOT_FOUND`
  ///         for an unknown name.
  static unsigned long set_default_units(UnitType type, std::string units);

  /// Converts from a unit to the default unit.
  ///
  /// @return `RESULT_SUCCESS`, or `RESULT_INVALID_ARGUMENT` for an unknown kind or name (logged as
  ///         a warning) or a null result.
  static unsigned long convert_to_default_units(UnitType type, std::string units, double value,
                                                double *result);

  /// Converts from the default unit to another unit.
  ///
  /// @return `RESULT_SUCCESS`; `RESULT_FAILURE` for an unknown kind or `RESULT_INVALID_ARGUMENT`
  ///         for an unknown name (both logged as warnings); `RESULT_INVALID_ARGUMENT` for a null
  ///         result.
  static unsigned long convert_to_specified_units(UnitType type, std::string units, double value,
                                                  double *result);

  /// Converts from one unit to another.
  ///
  /// @return as `convert_to_default_units`.
  static unsigned long convert_units(UnitType type, std::string from_units, double value,
                                     std::string to_units, double *result);

  /// Whether the text names a unit of that kind.
  static bool are_valid_units(UnitType type, std::string units);
};

} // namespace Ostrel
