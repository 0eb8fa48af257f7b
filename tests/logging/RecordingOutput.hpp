// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingOutputImpl.hpp"

#include <string>

/// Collects the lines in a text of the test, which also learns of its end.
class RecordingOutput : public Ostrel::LoggingOutputImpl {
public:
  explicit RecordingOutput(std::string *lines, bool *is_deleted = nullptr)
      : lines_(lines), is_deleted_(is_deleted) {}
  ~RecordingOutput() override {
    if (is_deleted_ != nullptr) {
      *is_deleted_ = true;
    }
  }

  bool write_method(std::string const &text) override {
    *lines_ += text;
    return true;
  }

private:
  std::string *lines_;
  bool *is_deleted_; // may be null
};
