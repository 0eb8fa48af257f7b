// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/TextBuffer.hpp"
#include "core/base/capi/ovra.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/units/Units.hpp"

#include <new>
#include <string>

using namespace Ostrel;

namespace {

// Null becomes the empty name, which is no unit.
std::string name_of(char const *units) {
  return units == nullptr ? "" : units;
}

} // namespace

unsigned long ovra_units__get_default(int type, char *buffer, unsigned int size) noexcept {
  std::string name;
  unsigned long const result = Units::get_default_units(static_cast<UnitType>(type), &name);
  return result != RESULT_SUCCESS ? result : copy_text(name, buffer, size);
}

unsigned long ovra_units__set_default(int type, char const *units) noexcept try {
  return Units::set_default_units(static_cast<UnitType>(type), name_of(units));
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long ovra_units__convert_to_default(int type, char const *units, double value,
                                             double *result) noexcept try {
  return Units::convert_to_default_units(static_cast<UnitType>(type), name_of(units), value,
                                         result);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long ovra_units__convert_from_default(int type, char const *units, double value,
                                               double *result) noexcept try {
  return Units::convert_to_specified_units(static_cast<UnitType>(type), name_of(units), value,
                                           result);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long ovra_units__convert(int type, char const *from_units, double value,
                                  char const *to_units, double *result) noexcept try {
  return Units::convert_units(static_cast<UnitType>(type), name_of(from_units), value,
                              name_of(to_units), result);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}
