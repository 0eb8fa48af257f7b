// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <ostream>
#include <streambuf>

namespace Ostrel {

/// Writes each character and block to an open file descriptor immediately, without buffering.
///
/// Blocks while a pipe is full, unless the descriptor is non-blocking. The descriptor is borrowed
/// and never closed. Not synchronised.
class OSTBASE_API fdoutbuf : public std::streambuf {
public:
  /// @param descriptor  a descriptor of the C library; -1 for none: nothing is written.
  explicit fdoutbuf(int descriptor = -1) noexcept;

  int descriptor() const noexcept { return descriptor_; }
  void set_descriptor(int descriptor) noexcept { descriptor_ = descriptor; }

protected:
  /// Writes one character; the end-of-file value is returned unwritten.
  /// @return the end-of-file value if the write fails; otherwise the character, even without a
  ///         descriptor.
  int_type overflow(int_type character = traits_type::eof()) override;

  /// Writes a block.
  /// @return the number of characters written, fewer than `size` if the system refused the rest; -1
  ///         if it refused all, without a descriptor, and for null unless the block is empty.
  std::streamsize xsputn(char const *text, std::streamsize size) override;

private:
  int descriptor_;
};

/// An output stream to an open file descriptor.
///
/// Output without a descriptor is lost and puts the stream into a failed state until `clear`. Not
/// synchronised.
class OSTBASE_API fdostream : public std::ostream {
public:
  /// @param descriptor  borrowed; -1 for none: set one later with `rdbuf()->set_descriptor`.
  explicit fdostream(int descriptor = -1);
  fdostream(fdostream const &) = delete;
  fdostream &operator=(fdostream const &) = delete;
  ~fdostream() override;

  /// Returns the stream's buffer, owned by the stream.
  fdoutbuf *rdbuf() const noexcept { return const_cast<fdoutbuf *>(&buffer_); }

private:
  fdoutbuf buffer_;
};

} // namespace Ostrel
