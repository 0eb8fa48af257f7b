// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

// Other people's headers have macros of these names. They are put aside while the enumeration is
// read and are back behind it.
#pragma push_macro("DISABLED")
#pragma push_macro("FATAL")
#pragma push_macro("ERROR")
#pragma push_macro("WARN")
#pragma push_macro("INFO")
#pragma push_macro("TRACE")
#pragma push_macro("DEBUG")
#pragma push_macro("VERBOSE")
#pragma push_macro("NOT_SET")
#undef DISABLED
#undef FATAL
#undef ERROR
#undef WARN
#undef INFO
#undef TRACE
#undef DEBUG
#undef VERBOSE
#undef NOT_SET

namespace Ostrel {

/// The levels of log messages and the thresholds of categories: a threshold lets the levels up to
/// its own value through.
class OSTBASE_API LoggingPriority {
public:
  enum PriorityLevel : int {
    DISABLED = 0, ///< As a threshold: nothing passes.
    FATAL = 100,
    ERROR = 200,
    WARN = 300,
    INFO = 400,
    TRACE = 450,
    DEBUG = 500,
    VERBOSE = 600,
    NOT_SET = 1000 ///< Takes the threshold of the nearest ancestor that has one.
  };

  /// The levels once more, under names that no macro takes: for use in headers.
  static constexpr PriorityLevel LEVEL_DISABLED = DISABLED;
  static constexpr PriorityLevel LEVEL_FATAL = FATAL;
  static constexpr PriorityLevel LEVEL_ERROR = ERROR;
  static constexpr PriorityLevel LEVEL_WARN = WARN;
  static constexpr PriorityLevel LEVEL_INFO = INFO;
  static constexpr PriorityLevel LEVEL_TRACE = TRACE;
  static constexpr PriorityLevel LEVEL_DEBUG = DEBUG;
  static constexpr PriorityLevel LEVEL_VERBOSE = VERBOSE;
  static constexpr PriorityLevel LEVEL_NOT_SET = NOT_SET;

  /// The root category's threshold unless it is given another: `INFO`.
  static PriorityLevel const _default_priority;

  /// Gives the text that stands for a level at the start of a log line, trailing blanks included.
  ///
  /// @return a static text, never null; "<NO SUCH PRIORITY>" for a value outside the enumeration.
  static char const *get_priority_name(PriorityLevel level) noexcept;
};

} // namespace Ostrel

#pragma pop_macro("NOT_SET")
#pragma pop_macro("VERBOSE")
#pragma pop_macro("DEBUG")
#pragma pop_macro("TRACE")
#pragma pop_macro("INFO")
#pragma pop_macro("WARN")
#pragma pop_macro("ERROR")
#pragma pop_macro("FATAL")
#pragma pop_macro("DISABLED")
