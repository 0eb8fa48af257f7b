// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <string>

/// For the rows in which the systems differ.
constexpr bool ON_WINDOWS = std::filesystem::path::preferred_separator == '\\';

/// Whether `IThread::stop` ends a thread here: not on every processor and C library, and not under a
/// sanitizer.
constexpr bool CAN_END_THREADS = OSTBASE_FORCED_THREAD_END;

/// The file that takes everything and holds nothing.
constexpr char const *NOWHERE = ON_WINDOWS ? "NUL" : "/dev/null";

/// What `abort` gives for a child's status.
constexpr int ABORTED = ON_WINDOWS ? 3 : -6;

/// Lets the library find these values in its registry for as long as what is returned is kept.
std::shared_ptr<void> provide_registry(std::string const &values);

/// Sets a variable of this process, also to the empty text; null removes it.
void set_variable(char const *name, char const *value);
