// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/UserConfig.hpp"

#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/AcquirableMap.hpp"
#include "core/base/foundation/Formatting.h"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/ForkLocks.hpp"
#include "core/base/platform/SystemProperty.hpp"
#include "core/base/platform/Visits.hpp"

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace Ostrel {

// Tells a key that is not there from one that nobody can look for, which a handle would not say.
class KeyLookUp {
public:
  // Null when there is no such key. Throws std::bad_alloc without memory.
  static void const *find(Configuration const &configuration, char const *path) {
    return configuration.look_up(path);
  }
};

namespace {

ClassCategory category("Ostrel.Core.Base.UserConfig");

struct FullKey {
  std::string path; // of the key
  std::string name; // of its value
};

// Splits at the last '/'; nothing when the text is no full key.
std::optional<FullKey> split_full_key(std::string_view text) {
  std::size_t const first = text.find('/'), last = text.rfind('/');
  bool const is_well_formed = first != text.npos && first != 0 && first != last &&
                              last + 1 != text.size() && text.find("//") == text.npos;
  if (!is_well_formed) {
    return std::nullopt;
  }
  return FullKey{std::string(text.substr(0, last)), std::string(text.substr(last + 1))};
}

// What was asked for, with its hash, which is computed before the lock is taken.
struct Question {
  explicit Question(std::string_view key) : text(key), hash(std::hash<std::string_view>()(key)) {}

  bool operator==(Question const &other) const { return text == other.text; }

  std::string_view text;
  std::size_t hash;
};

struct HashOfQuestion {
  std::size_t operator()(Question const &question) const noexcept { return question.hash; }
};

using Values = std::map<std::string, std::string>;
using Cache = AcquirableMap<std::string, Values>;

// Calls that come after the end of the settings, from destructors of others, are not let in.
Visits settings_users(Visits::SETTINGS);

// The settings of the process. Every operation needs the lock of `cache()` held.
class Settings {
public:
  // The source comes first, and with it all that its destructor needs: it outlives the facade. A
  // facade comes before the end of the settings is ordered, and so its lock outlives them.
  Settings() {
    Configuration const facade(source_);
    cache();
  }
  Settings(Settings const &) = delete;
  Settings &operator=(Settings const &) = delete;
  ~Settings() {
    Cache const *const cache = cache_.exchange(nullptr);
    if (ForkLocks::wait_for_all()) {
      delete cache;
    }
  }

  // Whose lock is that of the settings. Needs no lock; null as long as there is no memory for it.
  Cache *cache() {
    Cache *cache = cache_.load(std::memory_order_acquire);
    if (cache != nullptr) {
      return cache;
    }
    std::unique_ptr<Cache> made(new (std::nothrow) Cache);
    bool const is_lockable = made != nullptr && made->is_ok();
    if (is_lockable && cache_.compare_exchange_strong(cache, made.get())) {
      cache = made.release(); // owned by the variable now
    }
    return cache;
  }

  // Loads the file and the aliases at the first call. If that fails for a reason that may go away
  // (the file cannot be read at this moment, no memory, for which std::bad_alloc may be thrown, or
  // no lock), nothing is kept, and the next call begins anew.
  unsigned long set_up() {
    if (aliases_are_loaded_) {
      return RESULT_SUCCESS;
    }
    Aliases aliases = {{"VisualAvoidanceTolerance", "UserConfig/VisualAvoidance/Tolerance"},
                       {"ObstacleAvoidanceMethod", "UserConfig/ObstacleAvoidance/Method"}};
    auto configuration = std::make_unique<Configuration>(source_);
    unsigned long const result = load_file(*configuration);
    if (result == RESULT_SYSTEM_ERROR) {
      return RESULT_FAILURE;
    }
    if (result == RESULT_OUT_OF_MEMORY || result == RESULT_ACQUISITION_ERROR) {
      return result;
    }
    if (result == RESULT_SUCCESS) {
      read_declared_aliases(*configuration, &aliases);
      configuration_ = std::move(configuration);
    }
    aliases_ = std::move(aliases);
    aliases_are_loaded_ = true;
    return RESULT_SUCCESS;
  }

  // Nothing, with a warning, when the key is malformed or its alias unknown.
  std::optional<FullKey> resolve(std::string_view key) const {
    std::string_view full_key = key;
    if (!key.empty() && key.front() == '$') {
      auto const alias = aliases_.find(std::string(key.substr(1)));
      full_key = alias == aliases_.end() ? std::string_view() : alias->second;
    }
    std::optional<FullKey> split = split_full_key(full_key);
    if (!split) {
      category().warn("Malformed key + value. Valid keys should be of the form "
                      "root/key(1..n)/value");
    }
    return split;
  }

  // The answer to the same question before; null when there was none.
  std::string const *find_answer(Question const &question) const {
    auto const found = answers_.find(question);
    return found == answers_.end() ? nullptr : found->second;
  }

  std::string const *find_cached(FullKey const &key) const {
    Cache const &cache = *cache_.load(std::memory_order_relaxed);
    auto const values = cache.find(key.path);
    if (values == cache.end()) {
      return nullptr;
    }
    auto const value = values->second.find(key.name);
    return value == values->second.end() ? nullptr : &value->second;
  }

  // A cache entry, allocated before the commit so that `keep` cannot fail; not in the cache before.
  class CacheEntry {
  public:
    CacheEntry(FullKey const &key, std::string text) {
      std::map<std::string, Values> made;
      made[key.path].emplace(key.name, std::move(text));
      key_ = made.extract(made.begin());
    }

    // Puts the text into the cache and returns its place.
    std::string const *keep(Cache &cache) {
      auto const known_key = cache.find(key_.key());
      if (known_key == cache.end()) {
        return &cache.insert(std::move(key_)).position->second.begin()->second;
      }
      Values &known = known_key->second, &made = key_.mapped();
      auto const value = known.insert(made.extract(made.begin()));
      if (!value.inserted) {
        value.position->second.swap(value.node.mapped());
      }
      return &value.position->second;
    }

  private:
    std::map<std::string, Values>::node_type key_; // with the one value
  };

  // Remembers where the answer to a question is.
  void add_answer(Question const &question, std::string const *text) noexcept try {
    if (find_answer(question) == nullptr) {
      std::list<std::string> kept;
      kept.emplace_back(question.text);
      answers_.emplace(Question(kept.front()), text);
      questions_.splice(questions_.end(), kept);
    }
  } catch (std::bad_alloc const &) {
    // The next one who asks takes the long way.
  }

  bool is_available() const { return configuration_ != nullptr; }
  Configuration &configuration() { return *configuration_; }

private:
  using Aliases = std::map<std::string, std::string>;

  unsigned long load_file(Configuration &configuration) {
    std::string path;
    if (unsigned long const result = read_system_property(Platform::CONFIG_PATH, &path);
        result != RESULT_SUCCESS) {
      return result;
    }
    if (unsigned long const result = source_.set_search_path(path.c_str());
        result != RESULT_SUCCESS) {
      return result;
    }
    return configuration.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr);
  }

  // Throws std::bad_alloc without memory, with some of them read.
  static void read_declared_aliases(Configuration const &configuration, Aliases *aliases) {
    constexpr unsigned int PATH_SIZE = 1024;
    char path[PATH_SIZE];
    for (int i = 0;; ++i) {
      ovra_snprintf(path, PATH_SIZE, "/UserConfig/Aliases/Alias:%d", i);
      void const *const key = KeyLookUp::find(configuration, path);
      if (key == nullptr) {
        return;
      }
      std::string name, value;
      if (read_text(configuration, key, "name", &name) &&
          read_text(configuration, key, "value", &value)) {
        (*aliases)[name] = std::move(value);
      } else {
        category().warn("Unable to parse alias declaration in user configuration: "
                        "Could not find 'value' parameter.");
      }
    }
  }

  // False when there is no such value. Throws std::bad_alloc without memory.
  static bool read_text(Configuration const &configuration, void const *key, char const *name,
                        std::string *text) {
    unsigned long const result = configuration.get_value(key, nullptr, name, text);
    if (result == RESULT_OUT_OF_MEMORY) {
      throw std::bad_alloc();
    }
    return result == RESULT_SUCCESS;
  }

  XmlConfigSource source_;
  std::unique_ptr<Configuration> configuration_; // null until the first call, and without a file
  bool aliases_are_loaded_ = false;
  Aliases aliases_;
  std::atomic<Cache *> cache_{nullptr}; // by key path and value name; nothing is ever taken out
  std::list<std::string> questions_;
  // From questions_ to cache_.
  std::unordered_map<Question, std::string const *, HashOfQuestion> answers_;
};

Settings &settings() {
  alignas(Settings) static std::byte storage[sizeof(Settings)];
  static Settings &instance = *new (storage) Settings;
  return instance;
}

// For as long as they are there, and without setting them up.
IAcquirable *take_lock() {
  Visit const visit(settings_users);
  return ForkLocks::acquire(visit ? settings().cache() : nullptr);
}

void forget_other_users() {
  settings_users.forget_others();
}

constexpr ForkLocks::Lock FORK_LOCK = {take_lock, ForkLocks::release, forget_other_users};

// From the load on, so that the settings are there for all destructors of the program. Threads that
// are in a call when the process ends keep them from going.
class SettingsEnd {
public:
  SettingsEnd() {
    settings();
    ForkLocks::add(ForkLocks::USER_CONFIGURATION, FORK_LOCK);
  }
  SettingsEnd(SettingsEnd const &) = delete;
  SettingsEnd &operator=(SettingsEnd const &) = delete;
  ~SettingsEnd() {
    if (settings_users.close()) {
      settings().~Settings();
    }
  }
};

SettingsEnd &settings_end() {
  static SettingsEnd instance;
  return instance;
}

[[maybe_unused]] SettingsEnd &built_at_load = settings_end();

// Takes the lock of the settings and has them set up; holds nothing after their end.
class SettingsLock {
public:
  SettingsLock() : visit_(settings_users), lock_(visit_ ? settings().cache() : nullptr) {
    result_ = lock_.acquire() ? settings().set_up()
                              : static_cast<unsigned long>(RESULT_ACQUISITION_ERROR);
  }

  // RESULT_SUCCESS when the settings can be used.
  unsigned long result() const noexcept { return result_; }

private:
  Visit visit_; // first: until the lock is given back
  AcquirableLock lock_;
  unsigned long result_;
};

// What callers are told of a failure of the facade.
unsigned long refusal(unsigned long result) {
  return result == RESULT_OUT_OF_MEMORY ? RESULT_OUT_OF_MEMORY : RESULT_FAILURE;
}

// Throws std::bad_alloc without memory to look the key up.
unsigned long commit_setting(Configuration &configuration, FullKey const &key, char const *text) {
  char const *const path = key.path.c_str();
  bool const has_key =
      KeyLookUp::find(configuration, path) != nullptr || configuration.create_key(path) != nullptr;
  unsigned long const result =
      has_key ? configuration.set_value(path, key.name.c_str(), text, /*commit=*/true)
              : static_cast<unsigned long>(RESULT_FAILURE);
  return result == RESULT_SUCCESS ? result : refusal(result);
}

} // namespace

unsigned long UserConfig::get_user_config(char const *key, std::string *value) try {
  if (value == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Question const asked(key == nullptr ? "" : key);
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  Settings &user = settings();
  if (std::string const *answer = user.find_answer(asked); answer != nullptr) {
    *value = *answer;
    return RESULT_SUCCESS;
  }
  std::optional<FullKey> const full_key = user.resolve(asked.text);
  if (!full_key) {
    return RESULT_FAILURE;
  }
  std::string text;
  if (std::string const *cached = user.find_cached(*full_key); cached != nullptr) {
    text = *cached;
  } else if (!user.is_available()) {
    return RESULT_SUCCESS;
  } else if (unsigned long const result = user.configuration().get_value(
                 full_key->path.c_str(), full_key->name.c_str(), &text);
             result != RESULT_SUCCESS) {
    return refusal(result);
  }
  std::string const *const kept =
      Settings::CacheEntry(*full_key, std::move(text)).keep(*user.cache());
  user.add_answer(asked, kept);
  *value = *kept;
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long UserConfig::set_user_config(char const *key, char const *text, bool commit) try {
  if (text == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Question const asked(key == nullptr ? "" : key);
  SettingsLock const lock;
  if (lock.result() != RESULT_SUCCESS) {
    return lock.result();
  }
  Settings &user = settings();
  std::optional<FullKey> const full_key = user.resolve(asked.text);
  if (!full_key) {
    return RESULT_FAILURE;
  }
  Settings::CacheEntry entry(*full_key, text);
  if (commit && user.is_available()) {
    unsigned long const result = commit_setting(user.configuration(), *full_key, text);
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  user.add_answer(asked, entry.keep(*user.cache()));
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
