// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

namespace Ostrel {

/// The user settings of this process, by full key or alias.
///
/// A full key is `root/key(1..n)/value`, for example `UserConfig/ObstacleAvoidance/Method`. An
/// alias is written as `$` and its name; "ObstacleAvoidanceMethod" and "VisualAvoidanceTolerance"
/// are built in, further ones are declared in the settings file as `UserConfig/Aliases/Alias` keys
/// with the values `name` (the alias) and `value` (the full key).
///
/// The settings file is "user-config.xml" along the search path of `Platform::CONFIG_PATH`, read at
/// the first call. If a file that exists cannot be read at that moment (no descriptor, a device or
/// a file server that fails), the call returns `RESULT_FAILURE`; without memory it returns
/// `RESULT_OUT_OF_MEMORY` (or, for a lock, `RESULT_ACQUISITION_ERROR`). Nothing is kept then, and
/// the next call reads anew. Every value that was read or set is kept for the life of the process:
/// later changes to the file are not seen, and are lost when this process commits. Both functions
/// may be called from any thread at any time while the library is loaded. Messages go to the
/// category "Ostrel.Core.Base.UserConfig".
namespace UserConfig {

/// Reads a setting.
///
/// @param key    full key, or '$' and alias; null is a malformed key.
/// @param value  receives the text; untouched when there is no settings file.
/// @return `RESULT_SUCCESS`, also when there is no settings file; `RESULT_FAILURE` for a malformed
///         key, an unknown alias (both with a warning) and a setting that is not there;
///         `RESULT_INVALID_ARGUMENT` for a null `value`; `RESULT_ACQUISITION_ERROR` when the lock
///         cannot be had; `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long get_user_config(char const *key, std::string *value);

/// Sets a setting for this process and, on request, in the settings file.
///
/// @param key     as above.
/// @param text    the new text; null gives `RESULT_INVALID_ARGUMENT`.
/// @param commit  true writes the setting to the settings file, when there is one, and creates the
///                keys that it needs.
/// @return as above; `RESULT_FAILURE` also when the text is refused or the file cannot be written.
///         What was read or set before stays the answer then; but a setting that nobody asked for
///         yet has the new text, and the next commit that succeeds writes it.
OSTBASE_API unsigned long set_user_config(char const *key, char const *text, bool commit);

} // namespace UserConfig
} // namespace Ostrel
