// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

namespace Ostrel {

/// The storage of one configuration: a tree of named keys. Each key has one text value and any
/// number of named values; all values are texts in UTF-8.
///
/// Keys and values are referred to by opaque handles that belong to the source. A key handle is
/// valid until its key is deleted, its document is replaced or closed, or the source is destroyed;
/// a value handle, until its value or key is deleted as well. A key's text value has the empty
/// name.
///
/// A `Configuration` calls its source with locks of the library held. An implementation must not
/// use facades, user settings or other sources, and must not wait for a thread that does.
///
/// Sources are not deleted through this interface. Results are result codes; for a null result
/// pointer, operations return null, false or `RESULT_INVALID_ARGUMENT`. Each implementation defines
/// whether threads may share a source.
class OSTBASE_API IConfigSource {
public:
  /// Which configuration a source holds.
  enum ConfigRoot : int {
    CONFIG_ROOT_NONE = 0,          ///< nothing is loaded
    CONFIG_ROOT_OTHER = 1,         ///< a configuration with a top key that is not listed below
    CONFIG_ROOT_APPLICATIONS = 2,  ///< applications
    CONFIG_ROOT_BEHAVIORS = 3,     ///< behaviours
    CONFIG_ROOT_PERSONALITIES = 4, ///< personalities
    CONFIG_ROOT_RESOURCES = 5,     ///< resources
    CONFIG_ROOT_SEMANTICS = 6,     ///< semantics
    CONFIG_ROOT_USER_CONFIG = 7    ///< user settings
  };

  /// Loads the configuration that `description` names, in a form that the implementation defines.
  virtual unsigned long init_source(void const *description) = 0;

  /// Loads the configuration of that root; the implementation defines the form of `argument`.
  virtual unsigned long init_source(ConfigRoot root, void const *argument) = 0;

  /// Returns the top key of the named repository, which is loaded on first use; null on failure.
  virtual void const *open_repository(char const *name) = 0;

  /// Closes the named repository; its handles become invalid.
  virtual void close_repository(char const *name) = 0;

  /// The root of the loaded configuration.
  virtual ConfigRoot get_config_root() = 0;

  /// Returns the first sub-key of the key (for null: the top key) and its name; null for none.
  virtual void const *find_first(void const *key, std::string *name) const = 0;

  /// Returns the next key under the same parent and its name; null for none.
  virtual void const *find_next(void const *key, std::string *name) const = 0;

  /// Returns the first value of the key (the text value, if it has one), its name and its text;
  /// null for none.
  virtual void const *find_first_value(void const *key, std::string *name,
                                       std::string *text) const = 0;

  /// Returns the next value of the same key, its name and its text; null for none.
  virtual void const *find_next_value(void const *value, std::string *name,
                                      std::string *text) const = 0;

  /// Returns the `index`-th sub-key of that name, from 0; null if there are fewer.
  virtual void const *find_indexed_sub_key(void const *key, char const *name, int index) const = 0;

  /// Reads the key's name; false for a null key.
  virtual bool get_key_name(void const *key, std::string *name) const = 0;

  /// Reads the name and the text of a value; false for a null value.
  virtual bool get_value_data(void const *value, std::string *name, std::string *text) const = 0;

  /// Appends a sub-key to the key; null on failure.
  /// @param commit  true makes the change durable at once.
  virtual void const *create_key(void const *parent, char const *name, bool commit) = 0;

  /// Sets the key's text value (null name) or a named value, which is created if it does not exist.
  /// @param commit  true makes the change durable at once.
  virtual unsigned long set_value(void const *key, char const *name, char const *text,
                                  bool commit) = 0;

  /// Removes a key with its values and sub-keys.
  virtual unsigned long delete_key(void const *key) = 0;

  /// Removes a named value.
  virtual unsigned long delete_value(void const *value) = 0;

  /// Makes all changes to the loaded configuration durable.
  virtual unsigned long commit() = 0;
};

} // namespace Ostrel
