// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/IConfigSource.hpp"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Ostrel {

struct KeyIndex;

/// A configuration kept in an XML file, found along a search path, edited in memory and written
/// back whole.
///
/// A key is an element, a sub-key a child element, a named value an attribute; the text value is
/// all text inside the element. Besides its own file, the main document, a source opens further
/// files by name: repositories, which are never written.
///
/// **What is stored is what is read**: every text that `set_value` accepts comes back byte for
/// byte, in memory and after a reload. The exception is a text of nothing but blanks: a reload
/// drops it once the key has sub-keys. What a file could not hold is refused with a warning, and
/// nothing is stored: names that are no XML names, have more than one ':', are longer than 50,000
/// bytes, belong to XML itself or use a prefix that the file declares; keys nested deeper than 257;
/// more than 5,000 named values of a key; a new name when the document has had 100,000 different
/// ones since its load; texts that are not UTF-8, hold characters that XML 1.0 forbids or are
/// longer than 10,000,000 bytes.
///
/// **A save is all or nothing**, as `Platform::replace_file` says. It writes all that the source
/// has, so what another program has saved since the load is lost. The text of the file is parsed
/// first, and the save is refused, with the reason at debug level, when the text goes beyond the
/// limits on a file, below; likewise when all named values of a key together take more than
/// 10,000,000 bytes. A file keeps its encoding, unless what is stored cannot be written in it: then
/// it becomes UTF-8.
///
/// **A file cannot do harm**: the network and other files are never touched. External subsets are
/// ignored, and so are declarations of attributes and `xml:space`. A file does not parse when it
/// declares an external entity or a parameter entity, goes beyond the limits above, has more than
/// 32 KB of declarations (the texts of entities apart), 256 namespaces at one place or 100,000
/// different names (one with a prefix counts as three), or when its entities expand to more than
/// 1 MB and more than ten times its size (each tag and each named value in them counts 25 bytes
/// more).
///
/// Any thread may use a source; one lock serialises all sources of the process. Exceptions:
/// `find_indexed_sub_key`, `get_key_name` and `get_value_data` do not acquire it and must not run
/// while another thread loads, edits or destroys a source; `create_source` and `commit` proceed
/// without the lock if it cannot be acquired. The constructor and each save set two of the XML
/// library's defaults for the calling thread: output is indented, and blanks are dropped.
/// Messages go to the category "Ostrel.Core.Base.XmlConfigSource".
class OSTBASE_API XmlConfigSource : public IConfigSource {
public:
  /// What the file name of `create_source` means.
  enum CreateFilePath : int { CREATE_GIVEN_PATH = 0, CREATE_RESERVED_1 = 1, CREATE_RESERVED_2 = 2 };

  /// Makes an empty source with the search path of `Platform::CONFIG_PATH`.
  XmlConfigSource();
  XmlConfigSource(XmlConfigSource const &) = delete;
  XmlConfigSource &operator=(XmlConfigSource const &) = delete;

  /// Loads a file, which is searched along the search path and then by its name alone.
  ///
  /// @param file  a `char const *`, borrowed.
  /// @return `RESULT_SUCCESS`; `RESULT_INVALID_ARGUMENT` for null; `RESULT_NOT_FOUND`, or
  ///         `RESULT_FAILURE` when the file has no root element, both with the previous document
  ///         kept; `RESULT_FAILURE` when it does not parse, which leaves the source without a
  ///         document; `RESULT_SYSTEM_ERROR` when a file that exists cannot be opened or read at
  ///         this moment (no descriptor, no kernel memory, a device or a file server that
  ///         fails): that ends the search, and the previous document is kept;
  ///         `RESULT_ACQUISITION_ERROR`; `RESULT_OUT_OF_MEMORY`.
  unsigned long init_source(void const *file) override;

  /// Loads the file of that root.
  ///
  /// @param path  a search path to set first (`char const *`, borrowed), or null to keep the old.
  /// @return as the other form; `RESULT_INVALID_ARGUMENT` for a root that has no file.
  unsigned long init_source(ConfigRoot root, void const *path) override;

  /// Opens the file of a repository below a directory of the search path: each dot of the name
  /// becomes a separator, and ".xml" is appended. The handle is valid until `close_repository`; it
  /// is null for a null name, and when the file is not found or does not parse.
  void const *open_repository(char const *name) override;
  void close_repository(char const *name) override;

  ConfigRoot get_config_root() override;

  void const *find_first(void const *key, std::string *name) const override;
  void const *find_next(void const *key, std::string *name) const override;
  void const *find_first_value(void const *key, std::string *name,
                               std::string *text) const override;
  void const *find_next_value(void const *value, std::string *name,
                              std::string *text) const override;
  /// Counts children of every kind: a text has the name "text", a comment the name "comment", a
  /// processing instruction its target. Such a child has a text value, which cannot be edited.
  void const *find_indexed_sub_key(void const *key, char const *name, int index) const override;
  bool get_key_name(void const *key, std::string *name) const override;
  /// A text value has the empty name.
  bool get_value_data(void const *value, std::string *name, std::string *text) const override;

  /// Appends a sub-key; null for a null argument and a name that is refused. When the commit fails
  /// the result is null as well, but the key is there.
  void const *create_key(void const *parent, char const *name, bool commit) override;

  /// Sets a value; a null name means the text value, which replaces everything inside the key, its
  /// sub-keys included. Named values are found by their local names, in reading and in writing: if
  /// a key has both `p:v` and `v`, the name `v` means the first one in the file.
  ///
  /// @return `RESULT_SUCCESS`, also for a null key, which changes nothing;
  ///         `RESULT_INVALID_ARGUMENT` when the text is null or name or text are refused;
  ///         `RESULT_IO_ERROR` when the commit fails (the value is set in memory);
  ///         `RESULT_ACQUISITION_ERROR`; `RESULT_OUT_OF_MEMORY`.
  unsigned long set_value(void const *key, char const *name, char const *text,
                          bool commit) override;

  /// Removes a key and writes the file. `RESULT_IO_ERROR` when the write fails, with the key
  /// removed from memory; `RESULT_INVALID_ARGUMENT` for null.
  unsigned long delete_key(void const *key) override;

  /// Removes a named value and writes the file, like `delete_key`; `RESULT_FAILURE` for a text
  /// value and for null.
  unsigned long delete_value(void const *value) override;

  /// Writes the main document to its file: `RESULT_SUCCESS` or `RESULT_FAILURE`. If only the last
  /// step of a save fails, the flush of the directory after the rename, the file has the new
  /// contents, which a crash of the system may undo. The same holds for every commit above.
  unsigned long commit() override;

  virtual ~XmlConfigSource();

  /// Replaces the main document with a new one that has only a root element; nothing is written.
  ///
  /// @return `RESULT_SUCCESS`; `RESULT_NOT_IMPLEMENTED` for the reserved modes;
  ///         `RESULT_INVALID_ARGUMENT` for other modes and a null file name; `RESULT_FAILURE` when
  ///         the document cannot be made or the root's name is refused (the source then has no
  ///         document); `RESULT_OUT_OF_MEMORY`.
  virtual unsigned long create_source(CreateFilePath mode, char const *file_name,
                                      char const *root_name);

  /// Sets the directories that are searched, followed always by the current one; null sets only
  /// that.
  /// @return `RESULT_SUCCESS`, `RESULT_ACQUISITION_ERROR` or `RESULT_OUT_OF_MEMORY`.
  unsigned long set_search_path(char const *path);

  /// The number of sources. Guarded by the lock of all sources.
  static int _instance_count;

protected:
  /// Looks for a readable file along the search path. Needs the source mutex held.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` (a warning for each place that was tried),
  ///         `RESULT_INVALID_ARGUMENT` for null, `RESULT_SYSTEM_ERROR` (a warning) as
  ///         `init_source`, `RESULT_OUT_OF_MEMORY`.
  unsigned long find_file(char const *name, std::string *found);

  /// Writes the main document to its file; false when there is none or the write fails.
  bool save() const;

private:
  friend class SourceLookUp;

  struct DocumentRecord;

  // These need the source mutex held.
  static unsigned long read_record(std::string path, std::unique_ptr<DocumentRecord> *record);
  unsigned long load(std::string path);
  void adopt(std::unique_ptr<DocumentRecord> record);
  void const *top_key() const; // null for none

  std::atomic<ConfigRoot> config_root_{CONFIG_ROOT_NONE}; // read without the mutex
  std::unique_ptr<DocumentRecord> main_document_;         // null for none
  std::map<std::string, std::unique_ptr<DocumentRecord>> repositories_;
  std::vector<std::string> search_path_;
  // Made at the first search, dropped when a key is added or removed; guarded by the source mutex.
  mutable std::unique_ptr<KeyIndex> index_;
};

} // namespace Ostrel
