// SPDX-License-Identifier: Apache-2.0
#include "core/base/units/Units.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Ostrel;

std::string default_of(UnitType type) {
  std::string name;
  EXPECT_EQ(Units::get_default_units(type, &name), RESULT_SUCCESS);
  return name;
}

TEST(Units, EachNameHasItsSize) {
  struct {
    UnitType type;
    double factor;
    std::vector<std::string> names;
  } const cases[] = {
      {UNIT_TYPE_DISTANCE, 0.1, {"mm", "millimeter", "millimeters"}},
      {UNIT_TYPE_DISTANCE, 1.0, {"cm", "centimeter", "centimeters", "Centimeter", "Centimeters"}},
      {UNIT_TYPE_DISTANCE, 100.0, {"m", "meter", "meters"}},
      {UNIT_TYPE_DISTANCE, 2.54, {"in", "inch", "inches", "Inch", "Inches"}},
      {UNIT_TYPE_DISTANCE, 30.48, {"ft", "foot", "feet", "Foot", "Feet"}},
      {UNIT_TYPE_DISTANCE, 32.0, {"fists"}},
      {UNIT_TYPE_ANGLE, 1.0, {"rad", "radian", "radians"}},
      {UNIT_TYPE_ANGLE, 0.017453292519943295, {"deg", "degree", "degrees"}},
      {UNIT_TYPE_TIME, 0.001, {"ms", "millisecond", "milliseconds"}},
      {UNIT_TYPE_TIME, 1.0, {"s", "sec", "second", "seconds"}},
      {UNIT_TYPE_TIME, 60.0, {"min", "minute", "minutes"}},
      {UNIT_TYPE_TIME, 3600.0, {"h", "hr", "hour", "hours"}}};
  std::string const bases[] = {"cm", "rad", "sec"};
  for (auto const &c : cases) {
    for (std::string const &name : c.names) {
      SCOPED_TRACE(name);
      EXPECT_EQ(default_of(c.type), bases[c.type]);
      double there = 0, back = 0, same = 0;
      EXPECT_EQ(Units::convert_to_default_units(c.type, name, 7.7, &there), RESULT_SUCCESS);
      EXPECT_EQ(Units::convert_to_specified_units(c.type, name, 7.7, &back), RESULT_SUCCESS);
      EXPECT_EQ(Units::convert_units(c.type, name, 7.7, c.names[0], &same), RESULT_SUCCESS);
      EXPECT_EQ(there, 7.7 * c.factor);
      EXPECT_EQ(back, 7.7 / c.factor);
      EXPECT_EQ(same, 7.7 * c.factor / c.factor); // to the last bit, even to the same unit
      EXPECT_EQ(Units::set_default_units(c.type, name), RESULT_SUCCESS);
      EXPECT_EQ(default_of(c.type), name);
      EXPECT_EQ(Units::set_default_units(c.type, bases[c.type]), RESULT_SUCCESS);
      for (int type = 0; type < 3; ++type) {
        EXPECT_EQ(Units::are_valid_units(UnitType(type), name), type == c.type);
      }
      EXPECT_FALSE(Units::are_valid_units(c.type, name + '\0'));
    }
  }
}

TEST(Units, FailuresChangeNothingAndAreReported) {
  constexpr UnitType LENGTH = UNIT_TYPE_DISTANCE;
  constexpr ResultCode REFUSED = RESULT_INVALID_ARGUMENT;
  CapturedLog log("Ostrel.Core.Base.Units");
  double out = 5;
  std::string name = "stale";
  auto const expect = [&](unsigned long result, ResultCode code, std::string const &line) {
    EXPECT_EQ(result, code) << line;
    EXPECT_EQ(log.take(), std::vector<std::string>(line.empty() ? 0 : 1, "WARN  - " + line));
    EXPECT_EQ(out, 5);
    EXPECT_EQ(name, "stale");
    EXPECT_EQ(default_of(LENGTH), "inch");
  };
  EXPECT_EQ(Units::set_default_units(LENGTH, "inch"), RESULT_SUCCESS);
  std::string const no_source = "convert_to_default_units: Failure acquiring src units";
  std::string const no_default = "Failed to acquire default units for unit conversion";
  std::string const no_m = "Failed to acquire output units 'm' for unit conversion";
  std::string const no_sec = "Failed to acquire output units 'sec' for unit conversion";
  for (UnitType const none : {UnitType(3), UnitType(-1), UnitType(0x7FFFFFFF)}) {
    EXPECT_FALSE(Units::are_valid_units(none, "m"));
    expect(Units::get_default_units(none, &name), REFUSED, "");
    expect(Units::set_default_units(none, "m"), REFUSED, "");
    expect(Units::convert_to_default_units(none, "m", 1, &out), REFUSED, no_source);
    expect(Units::convert_to_specified_units(none, "m", 1, &out), RESULT_FAILURE, no_default);
    expect(Units::convert_units(none, "m", 1, "sec", &out), REFUSED, no_m);
  }
  for (std::string const none : {"", "INCH", "Meter", "fist", " m", "m ", "foet", "\xFF\xFF"}) {
    expect(Units::set_default_units(LENGTH, none), RESULT_NOT_FOUND, "");
  }
  expect(Units::get_default_units(LENGTH, nullptr), REFUSED, "");
  expect(Units::set_default_units(LENGTH, "sec"), RESULT_NOT_FOUND, "");
  expect(Units::convert_to_default_units(LENGTH, "sec", 1, &out), REFUSED, no_source);
  expect(Units::convert_to_specified_units(LENGTH, "sec", 1, &out), REFUSED, no_sec);
  expect(Units::convert_units(LENGTH, "sec", 1, "h", &out), REFUSED, no_sec);
  expect(Units::convert_units(LENGTH, "m", 1, "sec", nullptr), REFUSED, no_sec);
  expect(Units::convert_to_default_units(LENGTH, "m", 1, nullptr), REFUSED, "");
  expect(Units::convert_to_specified_units(LENGTH, "m", 1, nullptr), REFUSED, "");
  expect(Units::convert_units(LENGTH, "m", 1, "m", nullptr), REFUSED, "");
  EXPECT_EQ(Units::set_default_units(LENGTH, "cm"), RESULT_SUCCESS);
}

} // namespace
