// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace Ostrel {

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
  File() noexcept = default;
  File(File const &) = delete;
  File &operator=(File const &) = delete;
  /// Closes the file.
  ~File();

  /// Opens an existing file for reading; a directory cannot be opened. Null cannot either.
  bool open_for_reading(char const *path) noexcept;

  /// Opens a file for writing at its end, wherever that is at each write; it is created when it
  /// does not exist.
  bool open_for_appending(char const *path) noexcept;

  bool is_open() const noexcept { return handle_ != nullptr; }

  /// Reads up to `size` bytes.
  /// @param count  receives how many came; 0 at the end of the file.
  /// @return false when reading fails.
  bool read(void *buffer, std::size_t size, std::size_t *count) noexcept;

  /// `write_whole` to this file.
  std::size_t write(void const *data, std::size_t size) noexcept;

  /// The file's size in bytes; 0 when it cannot be told (a pipe, for example).
  unsigned long long size() const noexcept;

  void close() noexcept;

private:
  void *handle_ = nullptr; // null when nothing is open
};

} // namespace Ostrel
