// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/IConfigSource.hpp"

#include <atomic>
#include <string>

namespace Ostrel {

/// Reads and writes configuration by key paths, over any source.
///
/// A **key path** is components separated by '/' or '\', for example
/// `UserConfig/Aliases/Alias:2`: each is a key's name and, behind a ':', which of the sub-keys of
/// that name is meant, from 0 (none: the first; a negative one: the first; one above the largest
/// `int`: none). An empty name counts every sub-key. Separators in front, in a row and at the end
/// are skipped. An absolute path begins with the top key's name; a sub path starts below a given
/// key, and null or empty names that key itself.
///
/// A **value name** of null or "" means the key's text value when reading, searching and deleting;
/// when writing, null does.
///
/// **Numbers** are stored as "%ld", "%lu" and "%.12f" print them in the C locale, whatever the
/// program's locale is, cut after 63 characters; text that does not begin with a number reads as 0.
///
/// Handles are the source's and live as long as it says. A null result pointer returns
/// `RESULT_INVALID_ARGUMENT`. Without memory a handle is null and a result `RESULT_OUT_OF_MEMORY`,
/// or `RESULT_ACQUISITION_ERROR` when a load has none for its lock; but a null handle that a source
/// of another class than `XmlConfigSource` returns for it means a key that does not exist.
/// Messages go to the category "Ostrel.Core.Base.Configuration".
///
/// **Threads.** Any thread may use a `Configuration`. Every operation but `commit` and
/// `find_repository_key` is one step beside other threads: it holds the lock of all facades, and
/// then that of all XML sources, from the look-up of its key to the end of what it does with it. So
/// a path is safe beside edits and reloads; a handle that a caller keeps is safe as long as no
/// other thread deletes its key or reloads the source. A source of a class of the program's own,
/// also one derived from `XmlConfigSource`, is called under the lock of all facades alone: it must
/// not use facades or user settings from other threads that it waits for, and edits that bypass the
/// facade must not run beside it.
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

  /// Loads what `description` tells (for `XmlConfigSource` a file name) and keeps the root
  /// that the source finds in it; on failure the root is `CONFIG_ROOT_NONE`.
  /// @param description  must point to a text, which the message about a failure shows.
  /// @return the source's result, or `RESULT_ACQUISITION_ERROR`; each failure is a warning.
  unsigned long init_source(void const *description);

  /// Loads the configuration of that root. The root is kept as requested, whatever happens.
  unsigned long init_source(IConfigSource::ConfigRoot root, void const *argument);

  /// Makes all changes durable.
  unsigned long commit();

  // --- Keys -----------------------------------------------------------------------------------

  /// The key of an absolute path; null when there is none.
  void const *find_key(char const *path) const;

  /// The key of a sub path; null when there is none.
  void const *find_key(void const *key, char const *sub_path) const;

  /// The top key of a repository, which is opened on first use. The second argument is not used.
  void const *find_repository_key(char const *name, void const *) const;

  /// Creates the key of an absolute path and the keys above it that are missing, but not the top
  /// key; each is written to the file at once. A key of that name is added even when there is one,
  /// unless the last component has an index: then as `create_sub_key`.
  void const *create_key(char const *path);

  /// Appends a sub-key. With an index in the name (`Alias:3`) as many as are missing are created,
  /// and the one with that index is the result, which may have been there before.
  ///
  /// @param name  at most 1011 characters and an index that fits an `int`; else null and a warning.
  /// @param commit  true writes the file at once.
  void const *create_sub_key(void const *parent, char const *name, bool commit);

  /// Deletes a key; `RESULT_INVALID_ARGUMENT` for null and when there is no such key.
  unsigned long delete_key(void const *key);
  unsigned long delete_key(char const *path);
  unsigned long delete_key(void const *key, char const *sub_path);

  /// The first of the keys with the path's name whose value has exactly that text, from the key of
  /// the path on; null when there is none (with a warning when the path names no key).
  void const *find_key_with_value(char const *path, char const *value_name,
                                  char const *value_text) const;

  /// The same from the key of a sub path, without a warning.
  void const *find_key_with_value(void const *key, char const *sub_path, char const *value_name,
                                  char const *value_text) const;

  // --- Values ---------------------------------------------------------------------------------

  /// Reads a value.
  /// @param out  untouched on failure.
  /// @return `RESULT_SUCCESS`, or `RESULT_NOT_FOUND` when there is no such key or value.
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

  /// Sets a value of an existing key.
  /// @param commit  true makes the source write its file at once.
  /// @return the source's result; `RESULT_NOT_FOUND`, with a warning, when there is no key of an
  ///         absolute path. A sub path without one sets nothing, and the source says with what
  ///         result.
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
  /// @return the source's result; `RESULT_INVALID_ARGUMENT` for a null argument and when there is
  ///         no such key, `RESULT_NOT_FOUND` when there is no such value.
  unsigned long delete_value(void const *key, char const *name);
  unsigned long delete_value(char const *path, char const *name);
  unsigned long delete_value(void const *key, char const *sub_path, char const *name);

  /// Reads a value as a series of whole numbers and ranges: "1 2 5:8 -3" is 1, 2, 5, 6, 7, 8, -3.
  /// Other characters separate; a '-' that no digit follows is one of them.
  ///
  /// @param array  room for `*count` numbers.
  /// @param count  receives how many were stored; what does not fit is left out.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` when there is no such value,
  ///         `RESULT_INVALID_ARGUMENT` for a null argument (but the sub path) or no such key.
  unsigned long get_series(char const *path, char const *name, long *array,
                           unsigned int *count) const;
  unsigned long get_series(void const *key, char const *sub_path, char const *name, long *array,
                           unsigned int *count) const;

protected:
  /// The key of a path below a key, or for null from the top; the key itself for an empty path.
  void const *find_sub_key(void const *key, char const *path) const;

  /// The handle of a value, whose text goes to `out`; null, with `out` untouched, when there is
  /// none.
  void const *find_value(void const *key, char const *sub_path, char const *name,
                         std::string *out) const;

  /// Reads a text as a series, as `get_series` does.
  unsigned long parse_long_series(char const *text, long *array, unsigned int *count) const;

  /// The `index`-th, from 0, of the key and its later siblings of the same name whose value has
  /// exactly that text.
  void const *find_indexed_key_with_value(void const *key, int index, char const *value_name,
                                          char const *value_text) const;

private:
  friend class KeyLookUp; // of the user settings, which must know that there is no key

  class Lock; // of one operation, from its look-up to the end of its use

  // These throw std::bad_alloc without memory.
  // What `find_key` finds.
  void const *look_up(char const *path) const;
  // What `find_key` finds under that lock.
  void const *look_up(Lock const &lock, void const *key, char const *sub_path) const;
  // What those of similar names above find; under a lock.
  void const *search_sub_key(void const *key, char const *path) const;
  void const *search_value(void const *key, char const *sub_path, char const *name,
                           std::string *out) const;
  void const *search_indexed_key(void const *key, int index, char const *value_name,
                                 char const *value_text) const;

  IConfigSource *source_; // never null
  // Read without a lock, also while another thread loads; it says nothing of other memory.
  std::atomic<IConfigSource::ConfigRoot> config_root_{IConfigSource::CONFIG_ROOT_NONE};
};

} // namespace Ostrel
