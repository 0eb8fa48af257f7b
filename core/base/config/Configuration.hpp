// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/IConfigSource.hpp"

#include <atomic>
#include <string>

namespace Ostrel {

enum UnitType : int;

/// Reads and writes configuration by key paths, over any source.
///
/// A **key path** consists of components separated by '/' or '\', for example
/// `UserConfig/Aliases/Alias:2`. A component is a key's name, optionally followed by ':' and the
/// index, from 0, among the sub-keys of that name. Without an index, and with a negative one, the
/// first is found; with one above the largest `int`, none. With an empty name every sub-key counts.
/// Leading, repeated and trailing separators are skipped. An absolute path begins with the top
/// key's name. A sub path starts below a given key; null and the empty path mean that key itself.
///
/// A **value name** of null or "" means the key's text value when reading, searching and deleting;
/// when writing, only null does.
///
/// **Numbers** are stored as "%ld", "%lu" and "%.12f" print them in the C locale, independent of
/// the program's locale, cut after 63 characters; text that does not begin with a number reads as
/// 0.
///
/// Handles belong to the source, which defines their lifetime. A null result pointer returns
/// `RESULT_INVALID_ARGUMENT`. Without memory, handles are null and results are
/// `RESULT_OUT_OF_MEMORY`, or `RESULT_ACQUISITION_ERROR` if a load cannot acquire its lock. But if
/// a source of another class than `XmlConfigSource` returns a null handle for lack of memory, the
/// key counts as missing. Messages go to the category "Ostrel.Core.Base.Configuration".
///
/// **Threads.** Any thread may use a `Configuration`. Every operation except `commit` and
/// `find_repository_key` is atomic for other threads: it holds the lock of all facades, and then
/// that of all XML sources, from the look-up of the key to its end. Thus paths are safe during
/// edits and reloads by other threads; a handle is safe as long as no other thread deletes its key
/// or reloads the source. A source of the program's own class, also one derived from
/// `XmlConfigSource`, is called under the lock of all facades only: it must not wait for threads
/// that use facades or user settings, and must not be edited directly, bypassing the facade, at the
/// same time.
class OSTBASE_API Configuration {
public:
  /// @param source  borrowed; must outlive this object and its copies.
  explicit Configuration(IConfigSource &source);
  /// The copy works on the same source.
  Configuration(Configuration const &other)
      : source_(other.source_), config_root_(other.get_config_root()) {}
  Configuration &operator=(Configuration const &other) {
    if (this != &other) {
      source_ = other.source_;
      config_root_.store(other.get_config_root(), std::memory_order_relaxed);
    }
    return *this;
  }
  virtual ~Configuration();

  IConfigSource::ConfigRoot get_config_root() const {
    return config_root_.load(std::memory_order_relaxed);
  }
  IConfigSource &get_config_source() { return *source_; }
  IConfigSource const &get_config_source() const { return *source_; }

  /// Loads the source that `description` names (for `XmlConfigSource` a file name). The root is
  /// that of the loaded source, or `CONFIG_ROOT_NONE` on failure.
  /// @param description  must point to a text, which is part of the message about a failure.
  /// @return the source's result, or `RESULT_ACQUISITION_ERROR`; each failure is a warning.
  unsigned long init_source(void const *description);

  /// Loads the configuration of that root. The root is `root` afterwards, also on failure.
  unsigned long init_source(IConfigSource::ConfigRoot root, void const *argument);

  /// Makes all changes durable.
  unsigned long commit();

  // --- Keys -----------------------------------------------------------------------------------

  /// The key of an absolute path; null if there is none.
  void const *find_key(char const *path) const;

  /// The key of a sub path; null if there is none.
  void const *find_key(void const *key, char const *sub_path) const;

  /// The top key of a repository, which is opened on first use. The second argument is ignored.
  void const *find_repository_key(char const *name, void const *) const;

  /// Creates the key of an absolute path and any missing parents, except the top key; each is
  /// written to the file at once. A key is added even if one of that name exists, unless the last
  /// component has an index: then as `create_sub_key`.
  void const *create_key(char const *path);

  /// Appends a sub-key. With an index in the name (`Alias:3`), creates all missing keys up to that
  /// index, and returns the key with that index, which may have existed before.
  ///
  /// @param name    at most 1011 characters, with an index that fits an `int`; else the result is
  ///                null, with a warning.
  /// @param commit  true writes the file at once.
  void const *create_sub_key(void const *parent, char const *name, bool commit);

  /// Deletes a key; returns `RESULT_INVALID_ARGUMENT` for null and for a key that does not exist.
  unsigned long delete_key(void const *key);
  unsigned long delete_key(char const *path);
  unsigned long delete_key(void const *key, char const *sub_path);

  /// Searches the key of the path and its later siblings of the same name, and returns the first
  /// whose value has exactly that text; null if there is none (with a warning if the key of the
  /// path does not exist).
  void const *find_key_with_value(char const *path, char const *value_name,
                                  char const *value_text) const;

  /// The same from the key of a sub path, without a warning.
  void const *find_key_with_value(void const *key, char const *sub_path, char const *value_name,
                                  char const *value_text) const;

  // --- Values ---------------------------------------------------------------------------------

  /// Reads a value.
  /// @param out  untouched on failure.
  /// @return `RESULT_SUCCESS`, or `RESULT_NOT_FOUND` if the key or the value does not exist.
  unsigned long get_value(char const *path, char const *name, std::string *out) const;
  unsigned long get_value(char const *path, char const *name, double *out) const;
  unsigned long get_value(char const *path, char const *name, long *out) const;
  unsigned long get_value(char const *path, char const *name, unsigned long *out) const;
  unsigned long get_value(void const *key, char const *sub_path, char const *name,
                          std::string *out) const;
  unsigned long get_value(void const *key, char const *sub_path, char const *name,
                          double *out) const;
  unsigned long get_value(void const *key, char const *sub_path, char const *name, long *out) const;
  unsigned long get_value(void const *key, char const *sub_path, char const *name,
                          unsigned long *out) const;

  /// Reads a value that is a number and a unit of that kind ("30 deg", "1.5 m"; blanks between them
  /// are optional), converted to the present default unit of the kind, in which a number alone is
  /// (addition). The number is in decimal notation with a point in every locale.
  ///
  /// @return as `get_value`; `RESULT_INVALID_TYPE`, with a warning that names the file and the
  ///         line, if the whole text is not such a quantity; `RESULT_INVALID_ARGUMENT` for an
  ///         unknown kind.
  unsigned long get_quantity(char const *path, char const *name, UnitType type, double *out) const;
  unsigned long get_quantity(void const *key, char const *sub_path, char const *name, UnitType type,
                             double *out) const;

  /// Sets a value of an existing key.
  /// @param commit  true makes the source write its file at once.
  /// @return the source's result; `RESULT_NOT_FOUND`, with a warning, if the key of an absolute
  ///         path does not exist. For a sub path without a key the source receives a null key.
  unsigned long set_value(char const *path, char const *name, char const *value, bool commit);
  unsigned long set_value(char const *path, char const *name, double value, bool commit);
  unsigned long set_value(char const *path, char const *name, long value, bool commit);
  unsigned long set_value(char const *path, char const *name, unsigned long value, bool commit);
  unsigned long set_value(void const *key, char const *sub_path, char const *name,
                          char const *value, bool commit);
  unsigned long set_value(void const *key, char const *sub_path, char const *name, double value,
                          bool commit);
  unsigned long set_value(void const *key, char const *sub_path, char const *name, long value,
                          bool commit);
  unsigned long set_value(void const *key, char const *sub_path, char const *name,
                          unsigned long value, bool commit);

  /// Deletes a named value; the source refuses the text value.
  /// @return the source's result; `RESULT_INVALID_ARGUMENT` for a null argument and for a key that
  ///         does not exist; `RESULT_NOT_FOUND` for a value that does not exist.
  unsigned long delete_value(void const *key, char const *name);
  unsigned long delete_value(char const *path, char const *name);
  unsigned long delete_value(void const *key, char const *sub_path, char const *name);

  /// Reads a value as a series of whole numbers and ranges: "1 2 5:8 -3" is 1, 2, 5, 6, 7, 8, -3.
  /// All other characters are separators, including a '-' that is not followed by a digit.
  ///
  /// @param array  has space for `*count` numbers.
  /// @param count  receives the number of elements stored; excess numbers are dropped.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` if the value does not exist,
  ///         `RESULT_INVALID_ARGUMENT` for a null argument (except the sub path) or a key that does
  ///         not exist.
  unsigned long get_series(char const *path, char const *name, long *array,
                           unsigned int *count) const;
  unsigned long get_series(void const *key, char const *sub_path, char const *name, long *array,
                           unsigned int *count) const;

protected:
  /// The key of a path below `key`, or from the top for a null key; `key` for an empty path.
  void const *find_sub_key(void const *key, char const *path) const;

  /// Copies the text of a value to `out` and returns its handle; null, with `out` untouched, if
  /// there is none.
  void const *find_value(void const *key, char const *sub_path, char const *name,
                         std::string *out) const;

  /// Reads a text as a series, as `get_series` does.
  unsigned long parse_long_series(char const *text, long *array, unsigned int *count) const;

  /// Among the key and its later siblings of the same name, the `index`-th, from 0, whose value has
  /// exactly that text; null for none.
  void const *find_indexed_key_with_value(void const *key, int index, char const *value_name,
                                          char const *value_text) const;

private:
  friend class SettingsFile;
  class Lock; // held during one operation

  // All throw std::bad_alloc without memory. The first acquires the lock, the others need it held.
  void const *look_up(char const *path) const;
  void const *look_up(Lock const &lock, void const *key, char const *sub_path) const;
  void const *create_path(char const *path, bool commit);
  void const *search_sub_key(void const *key, char const *path) const;
  void const *search_value(void const *key, char const *sub_path, char const *name,
                           std::string *out) const;
  void const *search_indexed_key(void const *key, int index, char const *value_name,
                                 char const *value_text) const;

  IConfigSource *source_; // never null
  // Atomic: read without a lock, also while another thread loads. Relaxed: orders no other memory.
  std::atomic<IConfigSource::ConfigRoot> config_root_{IConfigSource::CONFIG_ROOT_NONE};
};

} // namespace Ostrel
