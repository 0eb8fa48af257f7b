// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <memory>

namespace Ostrel {

/// Lets a program that runs inside the source tree find the settings of that tree: puts the tree's
/// config directory behind what `OSTREL_CONFIG_PATH` holds.
///
/// Make one from the command line at the start of `main`, and keep it to its end. Nothing is
/// locked: no other thread may change the environment meanwhile, or use another object.
class OSTBASE_API EnvironmentSetup {
public:
  /// Changes nothing.
  EnvironmentSetup() noexcept;
  /// Does what `init` does.
  EnvironmentSetup(int argc, char **argv);
  EnvironmentSetup(EnvironmentSetup const &) = delete;
  EnvironmentSetup &operator=(EnvironmentSetup const &) = delete;

  /// Removes `OSTREL_LIBRARY_PATH` and `OSTREL_CONFIG_PATH` from the environment, whatever they
  /// held before and whoever set them.
  virtual ~EnvironmentSetup();

  /// Appends ";" and the tree's config directory to `OSTREL_CONFIG_PATH` when the program runs in
  /// the source tree, at each call; elsewhere the variable keeps its value. Without memory the
  /// environment stays as it is.
  ///
  /// @param argv  borrowed; its first text is kept as the program's path unless there is one
  ///              already. A null here, or in its first place, is skipped.
  void init(int argc, char **argv);

  /// Whether "ostrel-core" is part of the program's path, the first argument, or of the current
  /// directory, if that has fewer than 260 characters. Without arguments (`argc` 0, or a null
  /// `argv`) the path is the one that an earlier `init` kept.
  static bool in_source_tree(int argc, char **argv);

  /// Puts the directory that the environment variable `srcdir` names, and a backslash, in front of
  /// a path.
  ///
  /// @return a text that the caller deletes with `delete[]`: a mere copy when `srcdir` is not set,
  ///         and when the path begins with a backslash. Null for null and without memory.
  static char *make_srcdir_path(char const *relative_path);

  /// The first program path that any `init` saw: owned by the class, null when there is none. To be
  /// read only. It goes with the first object that ends, whichever that is.
  static char *_argv0;
  /// How many own it: 1 while there is one.
  static unsigned int _argv0_ref_count;

protected:
  void init_internal(int argc, char **argv);
  /// What else an operating system may need; nothing so far.
  void init_external(int argc, char **argv);

private:
  // Entries as the environment takes them, "NAME=value"; null when there is none.
  std::unique_ptr<char[]> library_path_entry_; // no operating system needs one so far
  std::unique_ptr<char[]> config_path_entry_;
};

} // namespace Ostrel
