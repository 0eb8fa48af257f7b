// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

#include <string>

/// Repeats a text, with the number of the repetition for each '@'.
inline std::string repeated(std::string const &text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    for (char const c : text) {
      c == '@' ? result += std::to_string(i) : result += c;
    }
  }
  return result;
}

/// A source over its own file in a fresh directory.
class LoadedSource {
public:
  explicit LoadedSource(std::string const &content) : path(directory.path("file.xml")) {
    write_file(path, content);
    result = source.init_source(path.c_str());
  }

  /// The contents that another source loads from the file.
  LoadedSource reloaded() const { return LoadedSource(read_file(path)); }

  void const *top() const { return source.find_first(nullptr, &ignored_); }

  /// The first sub-key of the key.
  void const *below(void const *key) const { return source.find_first(key, &ignored_); }

  /// Name=text of every value of the key, the text value first, each in brackets.
  std::string values(void const *key) const {
    std::string name = "stale", text, all;
    for (void const *value = source.find_first_value(key, &name, &text); value != nullptr;
         value = source.find_next_value(value, &name, &text)) {
      std::string same_name = "stale", same_text;
      EXPECT_TRUE(source.get_value_data(value, &same_name, &same_text));
      EXPECT_TRUE(same_name == name && same_text == text);
      all += "[" + name + "=" + text + "]";
    }
    return all;
  }

  TemporaryDirectory directory;
  std::string path;
  Ostrel::XmlConfigSource source;
  unsigned long result = 0;

private:
  mutable std::string ignored_;
};
