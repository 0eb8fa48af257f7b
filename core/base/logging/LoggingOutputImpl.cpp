// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingOutputImpl.hpp"

#include "core/base/foundation/RetryingLock.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"
#include "core/base/logging/PlainOutput.hpp"
#include "core/base/platform/IMutex.hpp"
#include "core/base/platform/Platform.hpp"

#include <new>
#include <utility>

namespace Ostrel {

LoggingOutputImpl::LoggingOutputImpl(ILoggingLayout *layout)
    : mutex_(Platform::create_mutex(true)) {
  LoggingOutputImpl::set_layout(layout);
  PlainOutput::learn_console_class(*this);
}

LoggingOutputImpl::~LoggingOutputImpl() {
  delete_layout();
}

bool LoggingOutputImpl::close() {
  return true;
}

bool LoggingOutputImpl::re_open() {
  return true;
}

void LoggingOutputImpl::set_layout(ILoggingLayout *layout) {
  if (layout != nullptr && layout == layout_.get()) {
    return;
  }
  bool const is_default = layout == nullptr;
  std::unique_ptr<ILoggingLayout> handed_over(is_default ? new (std::nothrow) LoggingLayoutImpl
                                                         : layout);
  if (handed_over != nullptr) {
    layout_ = std::move(handed_over);
    has_default_layout_.store(is_default, std::memory_order_relaxed);
  }
  needs_default_layout_ = layout_ == nullptr;
}

ILoggingLayout *LoggingOutputImpl::get_layout() {
  return layout_.get();
}

void LoggingOutputImpl::delete_layout() {
  has_default_layout_.store(false, std::memory_order_relaxed);
  needs_default_layout_ = false;
  layout_.reset();
}

bool LoggingOutputImpl::write_method(std::string const &text) {
  Platform::write_standard_error(text.data(), text.size());
  return true;
}

void LoggingOutputImpl::write(LoggingEvent const &event) try {
  RetryingLock const lock(mutex_.get());
  if (needs_default_layout_) {
    LoggingOutputImpl::set_layout(nullptr);
  }
  if (layout_ != nullptr) {
    write_method(layout_->format(event));
  }
} catch (std::bad_alloc const &) {
  return; // the event is lost
}

} // namespace Ostrel
