// SPDX-License-Identifier: Apache-2.0
#include "core/base/testing/fdostream.hpp"

#include "core/base/platform/Platform.hpp"

namespace Ostrel {

fdoutbuf::fdoutbuf(int descriptor) noexcept : descriptor_(descriptor) {}

fdoutbuf::int_type fdoutbuf::overflow(int_type character) {
  if (descriptor_ == -1 || traits_type::eq_int_type(character, traits_type::eof())) {
    return character;
  }
  char const byte = traits_type::to_char_type(character);
  return Platform::write_descriptor(descriptor_, &byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize fdoutbuf::xsputn(char const *text, std::streamsize size) {
  if (descriptor_ == -1 || size < 0) {
    return -1;
  }
  return Platform::write_descriptor(descriptor_, text, static_cast<std::size_t>(size));
}

// The buffer is set in the body, because the base is constructed before it.
fdostream::fdostream(int descriptor) : std::ostream(nullptr), buffer_(descriptor) {
  std::ostream::rdbuf(&buffer_);
}

fdostream::~fdostream() = default;

} // namespace Ostrel
