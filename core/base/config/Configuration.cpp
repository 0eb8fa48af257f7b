// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/Configuration.hpp"

#include "core/base/config/SourceLookUp.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Ostrel {

namespace {

ClassCategory category("Ostrel.Core.Base.Configuration");

constexpr std::size_t MAX_SUB_KEY_NAME = 1011; // characters, index included

} // namespace

// Holds the mutex of all facades and, for an XML source, then that of all XML sources. A source of
// another class does its own locking.
class Configuration::Lock {
public:
  explicit Lock(Configuration const &facade)
      : source_(SourceLookUp(*facade.source_).indexed() != nullptr
                    ? &ProcessMutex::of(ProcessMutex::SOURCE)
                    : nullptr) {}

  // False if the mutex of the facades is not held.
  explicit operator bool() const noexcept { return static_cast<bool>(facades_); }

private:
  ProcessLock facades_{ProcessMutex::CONFIGURATION};
  AcquirableLock source_;
};

Configuration::Configuration(IConfigSource &source) : source_(&source) {}

Configuration::~Configuration() = default;

unsigned long Configuration::init_source(void const *description) {
  Lock const lock(*this);
  if (!lock) {
    category().warn("internal error: acquisition error");
    return RESULT_ACQUISITION_ERROR;
  }
  unsigned long const result = source_->init_source(description);
  if (result != RESULT_SUCCESS) {
    category().warn("Failed to initialize source '%s'",
                    description == nullptr ? "" : static_cast<char const *>(description));
    config_root_ = IConfigSource::CONFIG_ROOT_NONE;
    return result;
  }
  config_root_ = source_->get_config_root();
  return RESULT_SUCCESS;
}

unsigned long Configuration::init_source(IConfigSource::ConfigRoot root, void const *argument) {
  Lock const lock(*this);
  if (!lock) {
    category().warn("internal error: acquisition error");
    return RESULT_ACQUISITION_ERROR;
  }
  config_root_ = root;
  unsigned long const result = source_->init_source(root, argument);
  if (result != RESULT_SUCCESS) {
    category().warn("Failed to initialize source: %s", result_code_get_str(result));
  }
  return result;
}

unsigned long Configuration::commit() {
  return source_->commit();
}

// --- Keys -------------------------------------------------------------------------------------

void const *Configuration::find_key(char const *path) const {
  return find_key(nullptr, path);
}

void const *Configuration::find_key(void const *key, char const *sub_path) const {
  return find_sub_key(key, sub_path);
}

void const *Configuration::find_repository_key(char const *name, void const *) const {
  return source_->open_repository(name);
}

void const *Configuration::create_key(char const *path) try {
  return path == nullptr ? nullptr : create_path(path, /*commit=*/true);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *Configuration::create_path(char const *path, bool commit) {
  Lock const lock(*this);
  void const *key = nullptr;
  char const *rest = skip_key_separators(path);
  while (*rest != '\0') {
    std::string const component(rest, std::strcspn(rest, "/\\"));
    rest = skip_key_separators(rest + component.size());
    bool const is_last = *rest == '\0';
    void const *next = is_last ? nullptr : search_sub_key(key, component.c_str());
    key = next != nullptr ? next : create_sub_key(key, component.c_str(), commit);
    if (key == nullptr) {
      return nullptr;
    }
  }
  return key;
}

void const *Configuration::create_sub_key(void const *parent, char const *name, bool commit) try {
  if (name == nullptr || std::strlen(name) > MAX_SUB_KEY_NAME) {
    category().warn("Refused to create a key: its name is missing or too long");
    return nullptr;
  }
  if (parent == nullptr) {
    category().warn("Can't create new root key");
    return nullptr;
  }
  std::string const key_name(name, std::strcspn(name, ":"));
  char const *const colon = name + key_name.size();
  long const index = *colon == ':' ? std::strtol(colon + 1, nullptr, 10) : -1;
  if (index > INT_MAX) {
    category().warn("Refused to create key '%s': its index is too large", name);
    return nullptr;
  }
  Lock const lock(*this);
  if (index < 0) {
    return source_->create_key(parent, key_name.c_str(), commit);
  }
  auto const find = [this, parent, &key_name](long i) {
    return source_->find_indexed_sub_key(parent, key_name.c_str(), static_cast<int>(i));
  };
  // A source with an index counts its keys once; another is searched for each index.
  SourceLookUp const look_up(*source_);
  bool const is_counted = look_up.indexed() != nullptr;
  long i = look_up.count_indexed_sub_keys(parent, key_name.c_str());
  void const *key = i > index ? find(index) : nullptr;
  for (; i <= index; ++i) {
    key = is_counted ? nullptr : find(i);
    if (key != nullptr) {
      continue;
    }
    key = source_->create_key(parent, key_name.c_str(), commit);
    bool const exists = key != nullptr || find(i) != nullptr;
    if (!exists) { // otherwise only the commit failed
      return nullptr;
    }
  }
  return key;
} catch (std::bad_alloc const &) {
  return nullptr;
}

unsigned long Configuration::delete_key(void const *key) try {
  Lock const lock(*this);
  return key == nullptr ? static_cast<unsigned long>(RESULT_INVALID_ARGUMENT)
                        : source_->delete_key(key);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::delete_key(char const *path) try {
  Lock const lock(*this);
  return delete_key(path == nullptr ? nullptr : look_up(lock, nullptr, path));
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::delete_key(void const *key, char const *sub_path) try {
  if (key == nullptr || sub_path == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Lock const lock(*this);
  return delete_key(look_up(lock, key, sub_path));
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

void const *Configuration::find_key_with_value(char const *path, char const *value_name,
                                               char const *value_text) const try {
  Lock const lock(*this);
  if (!lock) {
    return nullptr;
  }
  void const *const key = search_sub_key(nullptr, path);
  if (key == nullptr) {
    category().warn("Can't find key '%s'", path == nullptr ? "" : path);
    return nullptr;
  }
  return search_indexed_key(key, 0, value_name, value_text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *Configuration::find_key_with_value(void const *key, char const *sub_path,
                                               char const *value_name, char const *value_text) const
    try {
  Lock const lock(*this);
  void const *const found = look_up(lock, key, sub_path);
  return found == nullptr ? nullptr : search_indexed_key(found, 0, value_name, value_text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

// --- Values -----------------------------------------------------------------------------------

unsigned long Configuration::get_value(char const *path, char const *name, std::string *out) const {
  return get_value(nullptr, path, name, out);
}

unsigned long Configuration::get_value(void const *key, char const *sub_path, char const *name,
                                       std::string *out) const try {
  if (out == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Lock const lock(*this);
  return search_value(key, sub_path, name, out) == nullptr ? RESULT_NOT_FOUND : RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::set_value(char const *path, char const *name, char const *value,
                                       bool commit) try {
  Lock const lock(*this);
  void const *const key = look_up(lock, nullptr, path);
  if (key == nullptr) {
    category().warn("Can't find key '%s'", path == nullptr ? "" : path);
    return RESULT_NOT_FOUND;
  }
  return source_->set_value(key, name, value, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::set_value(void const *key, char const *sub_path, char const *name,
                                       char const *value, bool commit) try {
  Lock const lock(*this);
  return source_->set_value(search_sub_key(key, sub_path), name, value, commit);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::delete_value(void const *key, char const *name) try {
  if (key == nullptr || name == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Lock const lock(*this);
  std::string text;
  void const *const value = search_value(key, nullptr, name, &text);
  return value == nullptr ? static_cast<unsigned long>(RESULT_NOT_FOUND)
                          : source_->delete_value(value);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::delete_value(char const *path, char const *name) try {
  Lock const lock(*this);
  return delete_value(path == nullptr ? nullptr : look_up(lock, nullptr, path), name);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::delete_value(void const *key, char const *sub_path,
                                          char const *name) try {
  if (key == nullptr || sub_path == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Lock const lock(*this);
  return delete_value(look_up(lock, key, sub_path), name);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::get_series(char const *path, char const *name, long *array,
                                        unsigned int *count) const try {
  Lock const lock(*this);
  return get_series(path == nullptr ? nullptr : look_up(lock, nullptr, path), nullptr, name, array,
                    count);
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long Configuration::get_series(void const *key, char const *sub_path, char const *name,
                                        long *array, unsigned int *count) const {
  if (key == nullptr || name == nullptr || array == nullptr || count == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string text;
  unsigned long const result = get_value(key, sub_path, name, &text);
  return result == RESULT_SUCCESS ? parse_long_series(text.c_str(), array, count) : result;
}

// --- Helpers ----------------------------------------------------------------------------------

void const *Configuration::look_up(Lock const &lock, void const *key, char const *sub_path) const {
  return lock ? search_sub_key(key, sub_path) : nullptr;
}

void const *Configuration::look_up(char const *path) const {
  return look_up(Lock(*this), nullptr, path);
}

void const *Configuration::search_sub_key(void const *key, char const *path) const {
  return SourceLookUp(*source_).find_key(key, path);
}

void const *Configuration::search_value(void const *key, char const *sub_path, char const *name,
                                        std::string *out) const {
  void const *const owner = search_sub_key(key, sub_path);
  return owner == nullptr || out == nullptr ? nullptr
                                            : SourceLookUp(*source_).find_value(owner, name, out);
}

void const *Configuration::find_sub_key(void const *key, char const *path) const try {
  return look_up(Lock(*this), key, path);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *Configuration::find_value(void const *key, char const *sub_path, char const *name,
                                      std::string *out) const try {
  Lock const lock(*this);
  return search_value(key, sub_path, name, out);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *Configuration::find_indexed_key_with_value(void const *key, int index,
                                                       char const *value_name,
                                                       char const *value_text) const try {
  Lock const lock(*this);
  return search_indexed_key(key, index, value_name, value_text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *Configuration::search_indexed_key(void const *key, int index, char const *value_name,
                                              char const *value_text) const {
  std::string wanted_name;
  if (key == nullptr || !source_->get_key_name(key, &wanted_name)) {
    category().warn("Failure in find_indexed_key_with_value");
    return nullptr;
  }
  if (value_text == nullptr) {
    return nullptr;
  }
  std::string name = wanted_name, text;
  for (; key != nullptr; key = source_->find_next(key, &name)) {
    bool const matches = name == wanted_name &&
                         search_value(key, nullptr, value_name, &text) != nullptr &&
                         text == value_text;
    if (matches && index-- <= 0) {
      break;
    }
  }
  return key;
}

} // namespace Ostrel
