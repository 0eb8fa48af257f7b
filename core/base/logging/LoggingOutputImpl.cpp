// SPDX-License-Identifier: Apache-2.0
#include "core/base/logging/LoggingOutputImpl.hpp"

#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"
#include "core/base/logging/LoggingLock.hpp"
#include "core/base/platform/Platform.hpp"

#include <new>
#include <typeinfo>

namespace Ostrel {

LoggingOutputImpl::LoggingOutputImpl(ILoggingLayout *layout)
    : mutex_(Platform::create_mutex(true)) {
  LoggingOutputImpl::set_layout(layout);
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
  if (layout == nullptr) {
    layout = new (std::nothrow) LoggingLayoutImpl;
  }
  if (layout != nullptr && layout != layout_.get()) {
    layout_.reset(layout);
  }
}

ILoggingLayout *LoggingOutputImpl::get_layout() {
  return layout_.get();
}

void LoggingOutputImpl::delete_layout() {
  layout_.reset();
}

bool LoggingOutputImpl::write_method(std::string const &text) {
  put(text);
  return true;
}

void LoggingOutputImpl::write(LoggingEvent const &event) try {
  LoggingLock const lock(mutex_.get());
  if (layout_ != nullptr) {
    write_method(layout_->format(event));
  }
} catch (std::bad_alloc const &) {
  return; // the event is lost
}

LoggingOutputImpl *LoggingOutputImpl::as_plain(ILoggingOutput *output) {
  if (typeid(*output) != typeid(FileLoggingOutput) &&
      typeid(*output) != typeid(LoggingOutputImpl)) {
    return nullptr;
  }
  auto *const ours = static_cast<LoggingOutputImpl *>(output);
  ILoggingLayout const *const layout = ours->layout_.get();
  bool const is_default = layout != nullptr && typeid(*layout) == typeid(LoggingLayoutImpl);
  return is_default ? ours : nullptr;
}

void LoggingOutputImpl::write_plain(std::string_view line) {
  LoggingLock const lock(mutex_.get());
  put(line);
}

void LoggingOutputImpl::put(std::string_view text) {
  Platform::write_standard_error(text.data(), text.size());
}

} // namespace Ostrel
