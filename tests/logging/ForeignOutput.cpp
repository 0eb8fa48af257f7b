// SPDX-License-Identifier: Apache-2.0
// A user's program without run-time type information, after headers of other libraries that define
// macros of our names.
#define DISABLED do
#define FATAL (
#define ERROR 0
#define WARN "warn"
#define INFO ;
#define TRACE
#define DEBUG
#define VERBOSE 1
#define NOT_SET nullptr

#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"

static_assert(Ostrel::LoggingPriority::LEVEL_ERROR == 200 && ERROR == 0 && WARN[0] == 'w');

// Prepends "foreign " to each line.
class ForeignOutput : public Ostrel::LoggingOutputImpl {
  bool write_method(std::string const &text) override {
    return LoggingOutputImpl::write_method("foreign " + text);
  }
};

Ostrel::ILoggingOutput *make_foreign_output();
Ostrel::ILoggingOutput *make_foreign_output() {
  return new ForeignOutput;
}
