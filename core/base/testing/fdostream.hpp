// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"

#include <ostream>
#include <streambuf>

namespace Ostrel {

/// Hands each character and block to an open file descriptor at once: it buffers nothing.
///
/// Waits for a full pipe, unless the descriptor has been set not to block. The descriptor is
/// borrowed: nobody here closes it. Not synchronised.
class OSTBASE_API fdoutbuf : public std::streambuf {
public:
  /// @param descriptor  of the C library; -1 for none, to which nothing can be written.
  explicit fdoutbuf(int descriptor = -1) noexcept;

  int descriptor() const noexcept { return descriptor_; }
  void set_descriptor(int descriptor) noexcept { descriptor_ = descriptor; }

protected:
  /// Writes one character.
  /// @return the end-of-file value when the system refuses; otherwise the character, also when
  ///         there is no descriptor. The end-of-file value is given back and nothing written.
  int_type overflow(int_type character = traits_type::eof()) override;

  /// Writes a block.
  /// @return how many characters were taken, fewer when the system refused the rest; -1 when it
  ///         refused all, without a descriptor, and for null unless the block is empty.
  std::streamsize xsputn(char const *text, std::streamsize size) override;

private:
  int descriptor_;
};

/// An output stream to an open file descriptor.
///
/// What is written before there is a descriptor is lost, and leaves the stream bad until its
/// `clear`. Not synchronised.
class OSTBASE_API fdostream : public std::ostream {
public:
  /// @param descriptor  borrowed; -1 for none: `rdbuf()->set_descriptor` gives one later.
  explicit fdostream(int descriptor = -1);
  fdostream(fdostream const &) = delete;
  fdostream &operator=(fdostream const &) = delete;
  ~fdostream() override;

  /// Gives the stream's buffer, which stays the stream's.
  fdoutbuf *rdbuf() const noexcept { return const_cast<fdoutbuf *>(&buffer_); }

private:
  fdoutbuf buffer_;
};

} // namespace Ostrel
