// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

namespace Ostrel {

/// Lets a program that runs inside the source tree find the tree's settings: appends the tree's
/// config directory to `OSTREL_CONFIG_PATH`.
///
/// Create one at the start of `main` and keep it until the end. Not synchronised: meanwhile no
/// other thread may change the environment or use another object of this class.
class OSTBASE_API EnvironmentSetup {
public:
  /// Changes nothing.
  EnvironmentSetup() noexcept;
  /// Does what `init` does.
  EnvironmentSetup(int argc, char **argv);
  EnvironmentSetup(EnvironmentSetup const &) = delete;
  EnvironmentSetup &operator=(EnvironmentSetup const &) = delete;

  /// Removes `OSTREL_LIBRARY_PATH` and `OSTREL_CONFIG_PATH` from the environment, even if they were
  /// set before this object was created.
  virtual ~EnvironmentSetup();

  /// If the program runs in the source tree, each call appends ";" and the tree's config directory
  /// to `OSTREL_CONFIG_PATH`. Elsewhere, and without memory, the variable keeps its value.
  ///
  /// @param argv  borrowed; the first argument is copied as the program's path, unless a path has
  ///              been copied already. A null array or first argument is ignored.
  void init(int argc, char **argv);

  /// Whether the program's path (the first argument) or the current directory contains
  /// "ostrel-core". A current directory of 260 or more characters is ignored. Without arguments
  /// (`argc` 0 or a null `argv`) the path is the one that an earlier `init` copied.
  static bool in_source_tree(int argc, char **argv);

  /// Prepends the value of the environment variable `srcdir` and a backslash to a path.
  ///
  /// @return a text that the caller deletes with `delete[]`; an unchanged copy if `srcdir` is not
  ///         set or the path begins with a backslash. Null for null and without memory.
  static char *make_srcdir_path(char const *relative_path);

  /// The first program path that was passed to any `init`; null for none. Owned by the class,
  /// read-only for users. The first object that is destroyed frees it.
  static char *_argv0;
  /// 1 while `_argv0` is set, else 0.
  static unsigned int _argv0_ref_count;

protected:
  void init_internal(int argc, char **argv);
  /// For settings that only some operating systems need; does nothing so far.
  void init_external(int argc, char **argv);
};

} // namespace Ostrel
