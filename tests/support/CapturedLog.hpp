// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingOutputImpl.hpp"

#include <string>
#include <utility>
#include <vector>

/// Keeps the lines of a category as long as it lives, instead of letting them out.
class CapturedLog {
public:
  explicit CapturedLog(char const *category)
      : category_(Ostrel::LoggingCategory::get_instance(category)) {
    category_.set_logging_output(new Output(lines_));
  }
  CapturedLog(CapturedLog const &) = delete;
  CapturedLog &operator=(CapturedLog const &) = delete;
  ~CapturedLog() { category_.remove_logging_output(); }

  /// The lines since the last call, without their line feeds.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

private:
  class Output : public Ostrel::LoggingOutputImpl {
  public:
    explicit Output(std::vector<std::string> &lines) : lines_(lines) {}
    bool write_method(std::string const &text) override {
      lines_.push_back(text.substr(0, text.size() - 1));
      return true;
    }

  private:
    std::vector<std::string> &lines_;
  };

  std::vector<std::string> lines_;
  Ostrel::LoggingCategory &category_;
};
