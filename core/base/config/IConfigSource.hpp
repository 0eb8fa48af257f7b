// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <string>

namespace Ostrel {

/// The storage of one configuration: a tree of named keys, each with a text value of its own and
/// any number of named values, all of them text.
///
/// Keys and values are named by opaque handles that belong to the source. A key handle stays valid
/// until its key is deleted, its document is replaced or closed, or the source ends; a value handle
/// until its value or key goes. A key's text value has the empty name. Texts are UTF-8.
///
/// A `Configuration` calls its source with locks of the library held. An implementation must not
/// use facades, user settings or other sources, and must not wait for a thread that does.
///
/// Sources are not deleted through this interface. Results are result codes; a null result pointer
/// gives null, false or `RESULT_INVALID_ARGUMENT`. Whether threads may share a source is the
/// implementation's to say.
class OSTBASE_API IConfigSource {
public:
  /// Which configuration a source holds.
  enum ConfigRoot : int {
    CONFIG_ROOT_NONE = 0,          ///< nothing is loaded
    CONFIG_ROOT_OTHER = 1,         ///< a configuration whose top key is none of those below
    CONFIG_ROOT_APPLICATIONS = 2,  ///< applications
    CONFIG_ROOT_BEHAVIORS = 3,     ///< behaviours
    CONFIG_ROOT_PERSONALITIES = 4, ///< personalities
    CONFIG_ROOT_RESOURCES = 5,     ///< resources
    CONFIG_ROOT_SEMANTICS = 6,     ///< semantics
    CONFIG_ROOT_USER_CONFIG = 7    ///< user settings
  };

  /// Loads the configuration that `description` tells, in a form of the implementation's.
  virtual unsigned long init_source(void const *description) = 0;

  /// Loads the configuration of that root; `argument` has a form of the implementation's.
  virtual unsigned long init_source(ConfigRoot root, void const *argument) = 0;

  /// Gives the top key of the named repository, loading it on first use; null when it cannot be
  /// had.
  virtual void const *open_repository(char const *name) = 0;

  /// Releases the named repository and with it every handle into it.
  virtual void close_repository(char const *name) = 0;

  /// The root of the loaded configuration.
  virtual ConfigRoot get_config_root() = 0;

  /// Gives the first sub-key of the key (for null: the top key) and writes its name; null when
  /// there is none.
  virtual void const *find_first(void const *key, std::string *name) const = 0;

  /// Gives the key after this one under the same parent and writes its name; null when there is
  /// none.
  virtual void const *find_next(void const *key, std::string *name) const = 0;

  /// Gives the first value of the key, the text value when the key has one, and writes name and
  /// text.
  virtual void const *find_first_value(void const *key, std::string *name,
                                       std::string *text) const = 0;

  /// Gives the value after this one of the same key and writes its name and text.
  virtual void const *find_next_value(void const *value, std::string *name,
                                      std::string *text) const = 0;

  /// Gives the sub-key that is the `index`-th, from 0, among those of that name; null when there
  /// are not that many.
  virtual void const *find_indexed_sub_key(void const *key, char const *name, int index) const = 0;

  /// Writes the key's name; false when the key is null.
  virtual bool get_key_name(void const *key, std::string *name) const = 0;

  /// Writes name and text of a value; false when it is null.
  virtual bool get_value_data(void const *value, std::string *name, std::string *text) const = 0;

  /// Appends a sub-key to the key; null on failure.
  /// @param commit  true makes the change durable at once.
  virtual void const *create_key(void const *parent, char const *name, bool commit) = 0;

  /// Sets the key's text value (null name) or its named value, which is made when it does not
  /// exist.
  /// @param commit  true makes the change durable at once.
  virtual unsigned long set_value(void const *key, char const *name, char const *text,
                                  bool commit) = 0;

  /// Removes a key with everything under it.
  virtual unsigned long delete_key(void const *key) = 0;

  /// Removes a named value.
  virtual unsigned long delete_value(void const *value) = 0;

  /// Makes all changes to the loaded configuration durable.
  virtual unsigned long commit() = 0;
};

} // namespace Ostrel
