// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// Appends its lines to a string of the test. Its destructor calls `at_end`.
class RecordingOutput : public Ostrel::LoggingOutputImpl {
public:
  explicit RecordingOutput(
      std::string *lines, std::function<void()> at_end = [] {})
      : lines_(lines), at_end_(std::move(at_end)) {}
  ~RecordingOutput() override { at_end_(); }

  bool write_method(std::string const &text) override {
    *lines_ += text;
    return true;
  }

private:
  std::string *lines_;
  std::function<void()> at_end_;
};

/// Captures the lines of a category while it lives, optionally with another threshold.
class CapturedLog {
public:
  explicit CapturedLog(char const *category, Ostrel::LoggingPriority::PriorityLevel threshold =
                                                 Ostrel::LoggingPriority::LEVEL_NOT_SET)
      : category_(Ostrel::LoggingCategory::get_instance(category)) {
    category_.set_logging_output(new RecordingOutput(&lines_));
    category_.set_priority(threshold);
  }
  CapturedLog(CapturedLog const &) = delete;
  CapturedLog &operator=(CapturedLog const &) = delete;
  ~CapturedLog() {
    category_.remove_logging_output();
    category_.set_priority(Ostrel::LoggingPriority::LEVEL_NOT_SET);
  }

  /// Returns the lines since the last call, without line feeds.
  std::vector<std::string> take() {
    std::istringstream text(std::exchange(lines_, {}));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      lines.push_back(line);
    }
    return lines;
  }

private:
  std::string lines_;
  Ostrel::LoggingCategory &category_;
};
