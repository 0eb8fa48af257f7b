// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/Setting.hpp"

#include "core/base/config/SettingLinks.hpp"
#include "core/base/config/Settings.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

#include <algorithm>
#include <new>

namespace Ostrel {

SettingLink *SettingLinks::_first = nullptr;

void SettingLinks::add(SettingLink *link) noexcept {
  ProcessLock const lock(ProcessMutex::USER_CONFIGURATION);
  link->next_ = _first;
  if (_first != nullptr) {
    _first->previous_ = link;
  }
  _first = link;
  link->refresh();
}

void SettingLinks::remove(SettingLink *link) noexcept {
  ProcessLock const lock(ProcessMutex::USER_CONFIGURATION);
  (link->previous_ == nullptr ? _first : link->previous_->next_) = link->next_;
  if (link->next_ != nullptr) {
    link->next_->previous_ = link->previous_;
  }
}

void SettingLinks::refresh(Settings const &settings,
                           std::vector<std::string_view> const &full_keys) noexcept {
  for (SettingLink *link = _first; link != nullptr; link = link->next_) {
    if (std::binary_search(full_keys.begin(), full_keys.end(), settings.resolve(link->key_))) {
      link->refresh();
    }
  }
}

void SettingLinks::refresh_all() noexcept {
  for (SettingLink *link = _first; link != nullptr; link = link->next_) {
    link->refresh();
  }
}

SettingLink::SettingLink(char const *key) noexcept {
  try { // not around the whole constructor, which would throw all the same
    key_ = key == nullptr ? "" : key;
  } catch (std::bad_alloc const &) {
    key_.clear();
  }
}

SettingLink::~SettingLink() = default;

void SettingLink::attach() noexcept {
  SettingLinks::add(this);
}

void SettingLink::detach() noexcept {
  SettingLinks::remove(this);
}

} // namespace Ostrel
