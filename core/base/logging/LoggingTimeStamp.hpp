// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <cstdint>
#include <string>

namespace Ostrel {

/// The number of a log event in the sequence of all events of the process; not a clock reading.
///
/// A value: a copy keeps the number. Any thread may create stamps; no two get the same number.
class OSTBASE_API LoggingTimeStamp {
public:
  /// Takes the next number of the process; the first is 1.
  LoggingTimeStamp() noexcept;

  void set_time(int time) noexcept { time_ = time; }
  int get_time() const noexcept { return time_; }

  /// Returns the six lowest decimal digits of the number's absolute value, with leading zeros.
  std::string get_time_string() const;

private:
  std::int32_t time_;
};

} // namespace Ostrel
