// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <new>
#include <utility>

namespace Ostrel {

/// Static storage for an object that is constructed at the first use and never destroyed: callers
/// may use it while the destructors of the process run. Internal to the library.
///
///     static NeverDestroyed<Settings> instance;
///     return *instance;
template <typename T> class NeverDestroyed {
public:
  template <typename... Arguments> explicit NeverDestroyed(Arguments &&...arguments) {
    new (storage_) T(std::forward<Arguments>(arguments)...);
  }
  NeverDestroyed(NeverDestroyed const &) = delete;
  NeverDestroyed &operator=(NeverDestroyed const &) = delete;

  T &operator*() noexcept { return *std::launder(reinterpret_cast<T *>(storage_)); }

private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

} // namespace Ostrel
