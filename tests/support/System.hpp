// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <string>

/// For test rows that differ between the systems.
constexpr bool ON_WINDOWS = std::filesystem::path::preferred_separator == '\\';

/// Whether `IThread::stop` can end a thread: not on every processor and C library, and not under a
/// sanitizer.
constexpr bool CAN_END_THREADS = OSTBASE_FORCED_THREAD_END;

/// The null device.
constexpr char const *NOWHERE = ON_WINDOWS ? "NUL" : "/dev/null";

/// The status of a child that called `abort`.
constexpr int ABORTED = ON_WINDOWS ? 3 : -6;

/// Provides these values in the library's registry while the returned object exists.
std::shared_ptr<void> provide_registry(std::string const &values);

/// Sets an environment variable of this process; null removes it, an empty text does not.
void set_variable(char const *name, char const *value);
