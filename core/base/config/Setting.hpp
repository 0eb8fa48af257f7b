// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/Export.h"

#include <atomic>
#include <string>
#include <type_traits>

namespace Ostrel {

/// What settings of all types share: the key, and the place in the list of settings that follow
/// changes. Not for direct use.
class OSTBASE_API SettingLink {
public:
  SettingLink(SettingLink const &) = delete;
  SettingLink &operator=(SettingLink const &) = delete;

protected:
  /// @param key  full key, or '$' and alias; copied.
  explicit SettingLink(char const *key) noexcept;
  virtual ~SettingLink();

  char const *key() const noexcept { return key_.c_str(); }

  /// Reads the setting for the first time, and from now on at each change.
  void attach() noexcept;
  /// To be called by the destructor of the derived class, before its members end.
  void detach() noexcept;

private:
  friend class SettingLinks;

  virtual void refresh() noexcept = 0;

  std::string key_; // empty without memory: then the default stays
  SettingLink *next_ = nullptr;
  SettingLink *previous_ = nullptr;
};

/// A user setting for code that reads it often, such as a control loop: `get` is one atomic load.
///
/// Follows every set, removal and reload of this process; changes to the file by other programs
/// only after a reload. If memory runs out in a reload, the old value stays until the next change.
/// Until the setting exists, and if its text is not of the type (a warning, as that of the typed
/// `get_user_config`), the last good value stays; at first the default.
///
/// The constructor reads the setting, and so the settings file if nothing has read it before. Any
/// thread may call `get` at any time. Constructor and destructor wait while another thread sets,
/// commits or reads settings. Not for a static object of a library that is loaded at run time: the
/// loader's own lock is held then, and a thread that reads a settings file in a rare encoding waits
/// for it.
///
///     Setting<double> reach{"UserConfig/Sonar/MaximumRange", 4.5};
///     Setting<double> angle{"UserConfig/Camera/Angle", 0.5, UNIT_TYPE_ANGLE}; // of Units.hpp
template <class T> class Setting final : private SettingLink {
  static_assert(std::is_same_v<T, double> || std::is_same_v<T, long> ||
                    std::is_same_v<T, unsigned long> || std::is_same_v<T, bool>,
                "a setting is a double, a long, an unsigned long or a bool");

public:
  /// @param key            full key, or '$' and alias; copied. Null and malformed keys keep the
  ///                       default, with a warning.
  /// @param default_value  the value until the setting can be read.
  Setting(char const *key, T default_value) noexcept : SettingLink(key), value_(default_value) {
    attach();
  }

  /// A quantity: a number and a unit of that kind, converted to the kind's default unit of the
  /// moment at which the setting is set or loaded. An unknown kind keeps the default value.
  Setting(char const *key, double default_value, UnitType kind) noexcept
      : SettingLink(key), value_(default_value), kind_(kind), is_quantity_(true) {
    static_assert(std::is_same_v<T, double>, "a quantity is a double");
    attach();
  }

  ~Setting() override { detach(); }

  T get() const noexcept { return value_.load(std::memory_order_relaxed); }

private:
  // Relaxed: the value orders no other memory.
  void refresh() noexcept override {
    T value = get();
    if (read(&value) == RESULT_SUCCESS) {
      value_.store(value, std::memory_order_relaxed);
    }
  }

  unsigned long read(T *value) const {
    if constexpr (std::is_same_v<T, double>) {
      if (is_quantity_) {
        return UserConfig::get_user_quantity(key(), kind_, value);
      }
    }
    return UserConfig::get_user_config(key(), value);
  }

  std::atomic<T> value_;
  UnitType const kind_{};
  bool const is_quantity_ = false;
};

} // namespace Ostrel
