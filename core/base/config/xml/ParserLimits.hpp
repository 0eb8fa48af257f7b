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

// The parser compares each of these with all others.
constexpr int MAX_NAMED_VALUES = 5000; // of one key
constexpr int MAX_NAMESPACES = 256;    // in force at one place

// Names, prefixes and URIs. The parser interns them in a hash table that stops growing at some
// thousand buckets, so that look-ups become slow. At this limit a file is read in 0.2 s.
constexpr int MAX_NAMES = 100000;

/// Enforces the limits above, and those on entities and declarations, on one parse, by callbacks of
/// the parser. A file that exceeds a limit is refused. Only the source of this class reads or sets
/// fields of the parser's context. Internal to the library.
class ParserLimits {
public:
  /// @param parser     has the default callbacks; must not be used after the end of this object.
  /// @param file_size  in bytes.
  ParserLimits(_xmlParserCtxt &parser, unsigned long long file_size) noexcept;
  ParserLimits(ParserLimits const &) = delete;
  ParserLimits &operator=(ParserLimits const &) = delete;

  /// Checks the input so far. Returns false if the file is refused.
  /// @param more_bytes  the size of the next block.
  bool allows(int more_bytes) noexcept;

  /// Checks the document of the whole file, so that it can be saved and loaded again. Returns false
  /// if the file is refused.
  bool allows(XmlDocument const &document) noexcept;

  /// The reason of a refusal; null for none. The parser may report success nevertheless, since a
  /// stopped parser sees the end of the file.
  char const *refusal() const noexcept { return refusal_; }

  /// Whether the parse was stopped by a lack of memory that the parser does not report.
  bool lacked_memory() const noexcept { return lacked_memory_; }

  // For the callbacks. `parser` is the one to stop: the content of an entity has its own.
  void refuse(_xmlParserCtxt &parser, char const *reason) noexcept;
  void stop_without_memory(_xmlParserCtxt &parser) noexcept;
  // Counts the bytes that replace a reference; false if they exceed the allowance.
  bool expand(_xmlParserCtxt &parser, unsigned long long bytes) noexcept;
  // The size of an entity with all entities inside, exact up to the allowance. All entities must be
  // declared.
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
