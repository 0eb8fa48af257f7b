// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

/// What a path leads to, for this user.
///
/// The superuser may do everything, but the robot's programs hardly run as one: for it, a file
/// without any permission to read counts as one that cannot be read, and so on.
struct FileStatus {
  bool exists = false;
  std::string error; ///< If it does not exist or cannot be looked at: the system's reason.
  bool is_directory = false;
  bool is_regular = false;  ///< Else a read may wait without end.
  bool is_readable = false; ///< For a directory: can be searched.
  bool is_writable = false;
  bool is_world_writable = false; ///< A regular file or a directory.
  bool is_sticky = false;         ///< A directory in which users can replace only their own files.
  bool is_own = false;            ///< This user owns it, or is the superuser.
};

FileStatus status_of(std::string const &path);

/// What this user, or the owner of the file, has to run for a right: "r", "w" or "x". Those of
/// devices are left alone.
std::string grant(std::string const &right, std::string const &path);

/// Whether both paths lead to the same file.
bool is_same_file(std::string const &left, std::string const &right);

/// The path with the nearest name in the same directory; empty if there is none.
std::string find_nearest_path(std::string const &path);

/// What is wrong with a path, and what to do.
struct PathFault {
  std::string what, instead;
};

/// Why a path that does not exist leads nowhere.
///
/// @param otherwise  what to do if no name is near.
PathFault explain_missing(std::string const &path, std::string const &otherwise);

/// Finds what a shell would have changed: quotes, '~', variables, blanks and "NAME=" in front.
std::optional<PathFault> find_unexpanded(std::string const &path);

/// Finds a path that depends on the current directory.
std::optional<PathFault> find_relative(std::string const &path);

/// The directory part; "." if there is none.
std::string directory_of(std::string const &path);

std::vector<std::string> list_directory(std::string const &directory);

} // namespace Ostrel::Tool
