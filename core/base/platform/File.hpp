// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Ostrel {

struct CloseFile {
  void operator()(void *file) const noexcept;
};

/// Owns the handle of an open file and closes it. Internal to the library.
using OpenFile = std::unique_ptr<void, CloseFile>;

/// The permissions of a file that the opening creates: the process's default, or none but the
/// owner's.
enum class NewFile { SHARED, OWNER_ONLY };

/// Opens a file. `access` and `disposition` are those of the system's call. Internal to the
/// library.
/// @return null, with the system's last error, on failure.
OpenFile open_file(char const *path, std::uint32_t access, std::uint32_t disposition,
                   NewFile owner = NewFile::SHARED) noexcept;

/// Whether the same call may succeed later: the error is, for example, a lack of descriptors or a
/// failing device or file server, and none that lasts (no such file or directory, no permission, an
/// impossible name). Internal to the library.
bool is_momentary(std::uint32_t error) noexcept;

/// How many of `size` bytes to pass to one call of the system. Internal to the library.
std::uint32_t transfer_size(std::size_t size) noexcept;

/// Writes the bytes to an open file in one call, and after a short write the rest in further calls.
/// Internal to the library.
/// @return how many bytes were written; fewer than `size` if a call failed.
std::size_t write_whole(void *handle, void const *data, std::size_t size) noexcept;

/// One open file of the operating system, without a buffer: readers see the written bytes when the
/// call returns. Internal to the library.
///
/// Not synchronised. Child programs do not inherit the descriptor.
class File {
public:
  /// Opens an existing file for reading. A directory and null are refused.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` if it cannot be opened, `RESULT_SYSTEM_ERROR` if
  ///         a file that exists cannot be opened at this moment (`is_momentary`), or
  ///         `RESULT_OUT_OF_MEMORY`. The system's last error has the reason, here and below.
  unsigned long open_for_reading(char const *path) noexcept;

  /// Opens a file to append to: each write goes to the end that the file then has. Creates the file
  /// if it does not exist.
  /// @return as above; `RESULT_SYSTEM_ERROR` also for a file that does not exist.
  unsigned long open_for_appending(char const *path) noexcept;

  bool is_open() const noexcept { return file_ != nullptr; }

  /// Reads up to `size` bytes.
  /// @param count  receives how many were read; 0 at the end of the file.
  /// @return false when reading fails.
  bool read(void *buffer, std::size_t size, std::size_t *count) noexcept;

  /// `write_whole` to this file.
  std::size_t write(void const *data, std::size_t size) noexcept;

  /// The file's size in bytes; 0 if it has none (a pipe, for example).
  unsigned long long size() const noexcept;

  void close() noexcept { file_.reset(); }

private:
  unsigned long open(char const *path, std::uint32_t access, std::uint32_t disposition) noexcept;

  OpenFile file_; // null if no file is open
};

} // namespace Ostrel
