// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

// Other libraries define macros of these names. They are undefined for this header and restored at
// its end.
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

/// The levels of log messages and the thresholds of categories: a message passes if its level is
/// not above the threshold.
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
    NOT_SET = 1000 ///< As a threshold: inherits that of the nearest ancestor that has one.
  };

  /// The same levels under names that no macro redefines, for use in headers.
  static constexpr PriorityLevel LEVEL_DISABLED = DISABLED;
  static constexpr PriorityLevel LEVEL_FATAL = FATAL;
  static constexpr PriorityLevel LEVEL_ERROR = ERROR;
  static constexpr PriorityLevel LEVEL_WARN = WARN;
  static constexpr PriorityLevel LEVEL_INFO = INFO;
  static constexpr PriorityLevel LEVEL_TRACE = TRACE;
  static constexpr PriorityLevel LEVEL_DEBUG = DEBUG;
  static constexpr PriorityLevel LEVEL_VERBOSE = VERBOSE;
  static constexpr PriorityLevel LEVEL_NOT_SET = NOT_SET;

  /// The initial threshold of the root category: `INFO`.
  static PriorityLevel const _default_priority;

  /// Returns the text of a level at the start of a log line, including trailing blanks.
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
