// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/xml/XmlDocument.hpp"

#include <cstddef>
#include <string_view>
#include <unordered_map>

struct _xmlEntity;
struct _xmlParserCtxt;

namespace Ostrel {

// The parser's own limits: libxml2 2.9.14 without XML_PARSE_HUGE.
constexpr std::size_t MAX_NAME_BYTES = 50000;    // XML_MAX_NAME_LENGTH
constexpr std::size_t MAX_TEXT_BYTES = 10000000; // XML_MAX_TEXT_LENGTH
constexpr int MAX_DEPTH = 257;                   // elements inside each other; the root counts

// The parser compares each of these with every other.
constexpr int MAX_NAMED_VALUES = 5000; // of one key
constexpr int MAX_NAMESPACES = 256;    // in force at one place

// Names, prefixes and URIs. The parser keeps each once, in a table that stops to grow at some
// thousand places and then compares it with more and more others. Read in 0.2 s at the most.
constexpr int MAX_NAMES = 100000;

/// Holds one parse to the limits above and to those on entities and declarations, by callbacks of
/// the parser. A file that goes beyond one is refused. Every field of the parser's context that the
/// library reads or sets stands in the source of this class. Internal to the library.
class ParserLimits {
public:
  /// @param parser     with the default callbacks; must not read after the end of this object.
  /// @param file_size  in bytes.
  ParserLimits(_xmlParserCtxt &parser, unsigned long long file_size) noexcept;
  ParserLimits(ParserLimits const &) = delete;
  ParserLimits &operator=(ParserLimits const &) = delete;

  /// Checks what the parser has read so far.
  /// @param more_bytes  what it reads next.
  /// @return false when the file is refused.
  bool allows(int more_bytes) noexcept;

  /// Checks what the parser has made of the whole file, which can then be saved and loaded again.
  /// @return false when the file is refused.
  bool allows(XmlDocument const &document) noexcept;

  /// Why the file is refused; null when it is not. The parser may report success
  /// nevertheless: to a stopped parser the file has ended.
  char const *refusal() const noexcept { return refusal_; }

  /// Whether the parse was stopped for a lack of memory that the parser does not report.
  bool lacked_memory() const noexcept { return lacked_memory_; }

  // For the callbacks. The content of an entity has a parser of its own, which is the one to stop.
  void refuse(_xmlParserCtxt &parser, char const *reason) noexcept;
  void stop_without_memory(_xmlParserCtxt &parser) noexcept;
  // Counts the bytes that are about to replace a reference; false when there are too many.
  bool expand(_xmlParserCtxt &parser, unsigned long long bytes) noexcept;
  // The bytes of an entity with all that it refers to, exact up to the allowance. Only when all
  // entities are declared.
  unsigned long long expanded_size(_xmlEntity *entity, int nesting = 0);

private:
  char const *find_excess(int more_bytes) noexcept;

  _xmlParserCtxt &parser_;
  unsigned long long allowance_; // bytes that entities may expand to
  unsigned long long expanded_ = 0;
  int declaration_bytes_ = 0;
  bool lacked_memory_ = false;
  char const *refusal_ = nullptr;
  std::unordered_map<_xmlEntity *, unsigned long long> expanded_sizes_;
};

} // namespace Ostrel
