// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/FileIdentity.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

namespace Ostrel {

struct CloseFile {
  void operator()(void *file) const noexcept;
};

/// Owns the handle of an open file. Internal to the library.
using OpenFile = std::unique_ptr<void, CloseFile>;

/// The permissions of a file that `open_file` creates: the process's default, or the owner alone.
enum class NewFile { SHARED, PRIVATE };

/// Opens a file by `CreateFileA`, with its values of `access` and `disposition`. Internal to the
/// library.
/// @return null, with the system's last error, if it cannot be opened.
OpenFile open_file(char const *path, std::uint32_t access, std::uint32_t disposition,
                   NewFile permissions = NewFile::SHARED) noexcept;

/// Whether a retry may succeed after this error: a lack of descriptors, a failing device or file
/// server; not a missing file or directory, a lack of permission or an invalid name. Internal to
/// the library.
bool is_temporary(std::uint32_t error) noexcept;

/// Whether the system's last error, of an opening, is that the file does not exist. Internal to the
/// library.
bool file_was_missing() noexcept;

/// The part of `size` bytes that one system call transfers. Internal to the library.
std::uint32_t transfer_size(std::size_t size) noexcept;

/// Writes all bytes to an open file, with further calls after a short write. Internal to the
/// library.
/// @return the number of bytes written; fewer than `size` on an error.
std::size_t write_whole(void *handle, void const *data, std::size_t size) noexcept;

/// As `Platform::native_path`, but throws std::bad_alloc without memory. Internal to the library.
std::string native_form_of(std::string path);

/// Follows the symbolic links of a path, as `follow_links`, to a path of any length. Internal to
/// the library.
/// @return false, with the system's last error; then `target` is unspecified.
bool find_link_target(char const *path, std::string *target);

/// An open file of the operating system, unbuffered. Internal to the library.
///
/// Not synchronised. Child programs do not inherit the descriptor.
class File {
public:
  /// Opens an existing file for reading; fails for a directory and for null.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` if it cannot be opened, `RESULT_SYSTEM_ERROR` if
  ///         the reason is temporary (`is_temporary`), or `RESULT_OUT_OF_MEMORY`. The system's last
  ///         error has the reason, also below.
  unsigned long open_for_reading(char const *path) noexcept;

  /// Opens a file for appending; creates it if it does not exist.
  /// @return as above; `RESULT_SYSTEM_ERROR` also for a file that does not exist.
  unsigned long open_for_appending(char const *path) noexcept;

  bool is_open() const noexcept { return file_ != nullptr; }

  /// Reads up to `size` bytes.
  /// @param count  receives the number of bytes read; 0 at the end of the file.
  /// @return false on an error.
  bool read(void *buffer, std::size_t size, std::size_t *count) noexcept;

  /// `write_whole` to this file.
  std::size_t write(void const *data, std::size_t size) noexcept;

  /// In bytes; 0 if it is unknown (a pipe, for example).
  unsigned long long size() const noexcept;

  /// False for a pipe or a device, for example.
  bool is_regular() const noexcept;

  /// @return false, with `identity` untouched, if it is unknown.
  bool get_identity(FileIdentity *identity) const noexcept;

  void close() noexcept { file_.reset(); }

private:
  unsigned long open(char const *path, std::uint32_t access, std::uint32_t disposition) noexcept;

  OpenFile file_; // null if no file is open
};

/// Calls `action` with every file name that matches a query. Internal to the library.
/// @return the system's error number; after a complete search ERROR_NO_MORE_FILES.
std::uint32_t for_each_match(char const *query,
                             std::function<void(char const *name)> const &action);

/// Whether a path of this library can contain the name. A name with a backslash cannot be in a
/// path, where a backslash is a separator.
inline bool can_be_named(char const *name) noexcept {
  return std::strchr(name, '\\') == nullptr;
}

} // namespace Ostrel
