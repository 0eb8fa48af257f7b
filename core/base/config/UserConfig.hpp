// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

namespace Ostrel {

/// The user settings of this process, by full key or alias.
///
/// A full key is `root/key(1..n)/value`, for example `UserConfig/ObstacleAvoidance/Method`. An
/// alias is written as `$` and its name. "ObstacleAvoidanceMethod" and "VisualAvoidanceTolerance"
/// are built in; the settings file declares further aliases as keys `UserConfig/Aliases/Alias` with
/// the values `name` (the alias) and `value` (the full key).
///
/// The settings file is "user-config.xml" along the search path of `Platform::CONFIG_PATH`, read in
/// the first call. If the file exists but cannot be read for a temporary reason (no free
/// descriptor, a failing device or file server), the call returns `RESULT_FAILURE`; without memory,
/// `RESULT_OUT_OF_MEMORY` (or, for a lock, `RESULT_ACQUISITION_ERROR`). The next call then reads
/// the file again. Every value that was read or set is cached for the life of the process: later
/// changes to the file have no effect, and are lost when this process commits. Any thread may call
/// both functions at any time while the library is loaded. Messages go to the category
/// "Ostrel.Core.Base.UserConfig".
namespace UserConfig {

/// Reads a setting.
///
/// @param key    full key, or '$' and alias; null is a malformed key.
/// @param value  receives the text; untouched if there is no settings file, and on failure.
/// @return `RESULT_SUCCESS`, also if there is no settings file; `RESULT_FAILURE` for a malformed
///         key, an unknown alias (both with a warning) and a setting that does not exist;
///         `RESULT_INVALID_ARGUMENT` for a null `value`; `RESULT_ACQUISITION_ERROR` if the lock
///         cannot be acquired; `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long get_user_config(char const *key, std::string *value);

/// Sets a setting for this process and, on request, in the settings file.
///
/// @param key     as above.
/// @param text    the new text; null returns `RESULT_INVALID_ARGUMENT`.
/// @param commit  true writes the setting to the settings file, if there is one, and creates
///                missing keys.
/// @return as above; `RESULT_FAILURE` also if the text is refused or the file cannot be written.
///         In that case a setting that was read or set before keeps its text in this process. If
///         only the write failed, any other setting has the new text, and the next successful
///         commit writes it.
OSTBASE_API unsigned long set_user_config(char const *key, char const *text, bool commit);

} // namespace UserConfig
} // namespace Ostrel
