// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Ostrel {

struct CloseFile {
  void operator()(void *file) const noexcept;
};

/// A handle of an open file, with the descriptor closed at its end. Internal to the library.
using OpenFile = std::unique_ptr<void, CloseFile>;

/// Whose a file is that the opening creates.
enum class NewFile { EVERYBODYS, OWNERS };

/// Opens a file with the system's call, whose words `access` and `disposition` are. Internal to the
/// library.
/// @return null, with the system's last error, when it cannot be opened.
OpenFile open_file(char const *path, std::uint32_t access, std::uint32_t disposition,
                   NewFile owner = NewFile::EVERYBODYS) noexcept;

/// Whether the same call may succeed later: the error is none of those that last (no such file, no
/// such directory, no permission, an impossible name), but, for example, a lack of descriptors, a
/// device or a file server that fails. Internal to the library.
bool is_momentary(std::uint32_t error) noexcept;

/// How many of `size` bytes one call of the system is asked to move, which narrows the number too.
/// Internal to the library.
std::uint32_t transfer_size(std::size_t size) noexcept;

/// Writes the bytes to an open file of the system in one call, and the rest, after a short write,
/// in further ones. Internal to the library.
/// @return how many bytes reached the file; fewer than `size` when the system refused more.
std::size_t write_whole(void *handle, void const *data, std::size_t size) noexcept;

/// One open file of the operating system, without a buffer of its own: what is written is there for
/// every reader when the call returns. Internal to the library.
///
/// Not synchronised. The descriptor is not inherited by child programs.
class File {
public:
  /// Opens an existing file for reading; a directory cannot be opened. Null cannot either.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` when it cannot be opened, `RESULT_SYSTEM_ERROR`
  ///         when a file that exists cannot be opened at this moment (`is_momentary`), or
  ///         `RESULT_OUT_OF_MEMORY` without memory. The system's last error has the reason, as
  ///         it has below.
  unsigned long open_for_reading(char const *path) noexcept;

  /// Opens a file for writing at its end, wherever that is at each write; it is created when it
  /// does not exist.
  /// @return as above; `RESULT_SYSTEM_ERROR` also for a file that does not exist.
  unsigned long open_for_appending(char const *path) noexcept;

  bool is_open() const noexcept { return file_ != nullptr; }

  /// Reads up to `size` bytes.
  /// @param count  receives how many came; 0 at the end of the file.
  /// @return false when reading fails.
  bool read(void *buffer, std::size_t size, std::size_t *count) noexcept;

  /// `write_whole` to this file.
  std::size_t write(void const *data, std::size_t size) noexcept;

  /// The file's size in bytes; 0 when it cannot be told (a pipe, for example).
  unsigned long long size() const noexcept;

  void close() noexcept { file_.reset(); }

private:
  unsigned long open(char const *path, std::uint32_t access, std::uint32_t disposition) noexcept;

  OpenFile file_; // null when nothing is open
};

} // namespace Ostrel
