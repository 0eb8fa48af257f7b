// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/SettingExplanation.hpp"
#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Ostrel {

enum UnitType : int;

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
/// the file again. Every value that was read or set is cached until a `reload`: before it, later
/// changes to the file have no effect. Any thread may call every function at any time while the
/// library is loaded. Messages go to the category "Ostrel.Core.Base.UserConfig"; those about the
/// file also to the categories of `XmlConfigSource` and `Configuration`, and the reason of a failed
/// write to that of the platform, at debug.
///
/// **A commit loses no change of another process.** It acquires an advisory lock on the directory
/// of the settings file (of its target, if the file is a symbolic link), loads the file afresh,
/// applies its own change, and replaces the file. A setting that this process reads for the first
/// time after that comes from the new contents. If a step fails, nothing has changed, in the file
/// and in this process. The exception is the last step, the flush of the directory: if only that
/// fails, the file has the change, which a crash of the system may undo.
///
/// A commit waits for the lock for at most 2 s, in which other calls of this process wait as well,
/// and a fork for about 1 s; then it fails, with a warning. A file that does not parse or cannot be
/// read is never overwritten: the commit fails, with the line and the reason in a warning; so does
/// a commit to a pipe or a device. If the file no longer exists, it is written anew. Where there is
/// no lock (on Windows, on a file system without such locks, in a directory that may not be read),
/// a change that another process commits at the same moment can be lost; this is logged once at
/// debug. The same holds for a file with hard links in several directories, for a directory that is
/// a link which is changed meanwhile, and for programs that write the file otherwise.
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

/// Reads a setting whose whole text is a number, without blanks around it, in decimal notation
/// (also "1e-3" for a `double`) with a point in every locale; or a truth value: "true", "false",
/// "1", "0", "yes" or "no", in upper or lower case (additions).
///
/// @return as above; `RESULT_INVALID_TYPE` for any other text, and for a number that the type
///         cannot represent, with a warning that names the file and the line, once until the
///         setting is set or read from the file again.
OSTBASE_API unsigned long get_user_config(char const *key, double *value);
OSTBASE_API unsigned long get_user_config(char const *key, long *value);
OSTBASE_API unsigned long get_user_config(char const *key, unsigned long *value);
OSTBASE_API unsigned long get_user_config(char const *key, bool *value);

/// Refuses a null literal, which names no type.
inline unsigned long get_user_config(char const *, std::nullptr_t) {
  return RESULT_INVALID_ARGUMENT;
}

/// Reads a setting that is a number and a unit of that kind ("30 deg", "1.5 m", "250 ms"; blanks
/// between them are optional), converted to the present default unit of the kind, in which a number
/// alone is (addition).
///
/// @return as the other typed reads; `RESULT_INVALID_TYPE` also for a unit of another kind;
///         `RESULT_INVALID_ARGUMENT` for an unknown kind.
OSTBASE_API unsigned long get_user_quantity(char const *key, UnitType type, double *value);

/// Sets a setting for this process and, on request, in the settings file.
///
/// @param key     as above.
/// @param text    the new text; null returns `RESULT_INVALID_ARGUMENT`.
/// @param commit  true writes the setting to the settings file, if there is one, and creates
///                missing keys.
/// @return as above; `RESULT_FAILURE` also if the text is refused or the file cannot be locked,
///         loaded afresh or written.
OSTBASE_API unsigned long set_user_config(char const *key, char const *text, bool commit);

/// Sets several settings, all or none, in one write of the file (addition).
///
/// @param settings  keys, as above, and texts. Of one key given twice, the last text counts.
/// @return as `set_user_config`: the first failure, with nothing changed; `RESULT_INVALID_ARGUMENT`
///         also for a zero byte in a key or text. `RESULT_SUCCESS` for no settings at all.
OSTBASE_API unsigned long
set_user_configs(std::vector<std::pair<std::string, std::string>> const &settings, bool commit);

/// Removes a setting from this process and, on request, from the settings file (addition). Its key
/// stays, also if it has no values left. Without a commit the setting counts as one that does not
/// exist, until it is set again.
///
/// @return as `set_user_config`; `RESULT_NOT_FOUND` if the setting does not exist.
OSTBASE_API unsigned long remove_user_config(char const *key, bool commit);

/// Removes several settings, all or none, in one write of the file (addition).
///
/// @param keys  a key given twice counts once.
/// @return as above: the first failure, with nothing changed.
OSTBASE_API unsigned long remove_user_configs(std::vector<std::string> const &keys, bool commit);

/// Reads the settings file and its aliases afresh (addition). Settings that were set or removed
/// without commit stay as they are; on failure everything does.
///
/// @return `RESULT_SUCCESS`; `RESULT_NOT_FOUND` if there is no settings file; `RESULT_FAILURE` if
///         it does not parse or cannot be read (each logged as in the first call);
///         `RESULT_ACQUISITION_ERROR`; `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long reload();

/// As `reload` if the file that was loaded is now another one, by its place on the disk, its size
/// and its time of last write, or if none was loaded (addition). Otherwise costs one look at the
/// file; after a commit of this process the file is read once. Not noticed are two changes within
/// some milliseconds that keep the size, and another file earlier in the search path.
///
/// @return as `reload`; `RESULT_NOT_FOUND` also, in silence, if the file that was loaded is
/// missing. A pipe or a device counts as unchanged.
OSTBASE_API unsigned long reload_if_changed();

/// Whether there is a settings file, so that `get_user_config` reads from it (addition). Reads it
/// if this is the first call.
OSTBASE_API bool is_available();

/// Tells where the value of a setting comes from (addition): the alias, the places that were
/// searched and what each holds, and the value with its file and line. Reads every file again, so
/// that the places have their present contents; the value is the one that `get_user_config`
/// returns.
///
/// @param explanation  replaced on success; untouched on failure; null is refused.
/// @return `RESULT_SUCCESS`, also for a setting that does not exist; `RESULT_FAILURE` for a
///         malformed key and an unknown alias (with a warning), and if the settings cannot be read
///         for a temporary reason; `RESULT_INVALID_ARGUMENT`;
///         `RESULT_ACQUISITION_ERROR`; `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long explain_user_config(char const *key, SettingExplanation *explanation);

/// Lists the aliases in use, ordered by name (addition).
///
/// @param aliases  replaced on success; null is refused.
/// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT`, `RESULT_FAILURE` if the settings cannot be
///         read for a temporary reason, `RESULT_ACQUISITION_ERROR` or `RESULT_OUT_OF_MEMORY`.
OSTBASE_API unsigned long list_aliases(std::vector<SettingAlias> *aliases);

} // namespace UserConfig
} // namespace Ostrel
