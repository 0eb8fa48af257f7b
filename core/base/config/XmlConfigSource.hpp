// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/IConfigSource.hpp"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Ostrel {

struct DocumentRecord;
struct KeyIndex;

/// A configuration stored in an XML file, which is found along a search path, edited in memory and
/// rewritten by each save.
///
/// A key is an element, a sub-key a child element, a named value an attribute; the text value is
/// all text inside the element. Besides its own file, the main document, a source opens further
/// files by name: repositories, which are never written.
///
/// **Texts do not change**: every text that `set_value` accepts is read back byte for byte, in
/// memory and after a reload; except that a reload drops a text of only blanks if the key has
/// sub-keys. `create_key` and `set_value` refuse, with a warning, what a file cannot hold: names
/// that are not XML names, have more than one ':', are longer than 50,000 bytes, are reserved by
/// XML or use a prefix that the file declares; keys nested deeper than 257; more than 5,000 named
/// values of a key; a new name if the document has had 100,000 different names since its load;
/// texts that are not UTF-8, contain characters that XML 1.0 forbids or are longer than 10,000,000
/// bytes.
///
/// **A save is atomic**, as `Platform::replace_file` describes. It writes the whole document:
/// changes that another program has saved since the load are lost. The new text is parsed first. If
/// it exceeds the limits on a file (below), or the named values of one key together exceed
/// 10,000,000 bytes, the save is refused, with the reason logged at debug. A file keeps its
/// encoding, or becomes UTF-8 if the encoding lacks a character.
///
/// **A hostile file is harmless**: a load reads no other file and never uses the network. External
/// subsets, declarations of attributes and `xml:space` are ignored. A file is refused if it
/// declares an external entity or a parameter entity, exceeds the limits above, or has more than
/// 32 KB of declarations (without the texts of entities), 256 namespaces in force at one place or
/// 100,000 different names (a name with a prefix counts as three); also if its entities expand to
/// more than 1 MB and more than ten times its size, where each tag and each named value in them
/// counts 25 bytes more. The parser may also refuse a file with more than 10,000,000 bytes of large
/// named values in consecutive tags.
///
/// Any thread may use a source; one lock serialises all sources of the process. Exceptions:
/// `find_indexed_sub_key`, `get_key_name` and `get_value_data` do not acquire it and must not run
/// while another thread loads, edits or destroys a source; `create_source` and `commit` proceed
/// without the lock if it cannot be acquired. The constructor and each save change two defaults of
/// the XML library for the calling thread: output is indented, and blanks are dropped.
/// Messages go to the category "Ostrel.Core.Base.XmlConfigSource".
class OSTBASE_API XmlConfigSource : public IConfigSource {
public:
  /// What the file name of `create_source` means.
  enum CreateFilePath : int { CREATE_GIVEN_PATH = 0, CREATE_RESERVED_1 = 1, CREATE_RESERVED_2 = 2 };

  /// Creates an empty source with the search path of `Platform::CONFIG_PATH`.
  XmlConfigSource();
  XmlConfigSource(XmlConfigSource const &) = delete;
  XmlConfigSource &operator=(XmlConfigSource const &) = delete;

  /// Loads a file, which is searched along the search path and then by its name alone.
  ///
  /// @param file  a `char const *`, borrowed.
  /// @return `RESULT_SUCCESS`; `RESULT_INVALID_ARGUMENT` for null; `RESULT_NOT_FOUND`;
  ///         `RESULT_FAILURE` if the file does not parse, which leaves the source without a
  ///         document, or has no root element; `RESULT_SYSTEM_ERROR` if a file that exists cannot
  ///         be opened or read for a temporary reason (no free descriptor, no kernel memory, a
  ///         failing device or file server), which ends the search; `RESULT_ACQUISITION_ERROR`;
  ///         `RESULT_OUT_OF_MEMORY`. After the other failures the source keeps the old document.
  unsigned long init_source(void const *file) override;

  /// Loads the file of that root.
  ///
  /// @param path  a search path to set first (`char const *`, borrowed); null keeps the old one.
  /// @return as the other form; `RESULT_INVALID_ARGUMENT` for a root without a file.
  unsigned long init_source(ConfigRoot root, void const *path) override;

  /// Opens the file of a repository along the search path. Its path is the name with a separator
  /// for each dot, and ".xml". The handle is valid until `close_repository`; null for a null name,
  /// and if the file is not found or does not parse.
  void const *open_repository(char const *name) override;
  void close_repository(char const *name) override;

  ConfigRoot get_config_root() override;

  void const *find_first(void const *key, std::string *name) const override;
  void const *find_next(void const *key, std::string *name) const override;
  void const *find_first_value(void const *key, std::string *name,
                               std::string *text) const override;
  void const *find_next_value(void const *value, std::string *name,
                              std::string *text) const override;
  /// Searches child nodes of every kind: a text has the name "text", a comment the name "comment",
  /// a processing instruction its target. Such a child has a text value, which cannot be edited.
  void const *find_indexed_sub_key(void const *key, char const *name, int index) const override;
  bool get_key_name(void const *key, std::string *name) const override;
  /// A text value has the empty name.
  bool get_value_data(void const *value, std::string *name, std::string *text) const override;

  /// Appends a sub-key; null for a null argument and a name that is refused. If the commit fails,
  /// the result is null as well, but the key is created in memory.
  void const *create_key(void const *parent, char const *name, bool commit) override;

  /// Sets a value; a null name means the text value, which replaces all contents of the key, its
  /// sub-keys included. Named values are read and written by their local names: if a key has both
  /// `p:v` and `v`, the name `v` means the first one in the file.
  ///
  /// @return `RESULT_SUCCESS`, also for a null key, which changes nothing;
  ///         `RESULT_INVALID_ARGUMENT` if the text is null, or the name or the text is refused;
  ///         `RESULT_IO_ERROR` if the commit fails (the value is set in memory);
  ///         `RESULT_ACQUISITION_ERROR`; `RESULT_OUT_OF_MEMORY`.
  unsigned long set_value(void const *key, char const *name, char const *text,
                          bool commit) override;

  /// Removes a key and writes the file. Returns `RESULT_IO_ERROR` if the write fails (the key is
  /// removed from memory), `RESULT_INVALID_ARGUMENT` for null.
  unsigned long delete_key(void const *key) override;

  /// Removes a named value and writes the file, as `delete_key`. Returns `RESULT_FAILURE` for a
  /// text value and for null.
  unsigned long delete_value(void const *value) override;

  /// Writes the main document to its file: `RESULT_SUCCESS` or `RESULT_FAILURE`. If only the last
  /// step of a save fails, the flush of the directory after the rename, the file has the new
  /// contents, which a crash of the system may undo; also in every commit above.
  unsigned long commit() override;

  virtual ~XmlConfigSource();

  /// Replaces the main document with a new one that has only a root element; writes no file.
  ///
  /// @return `RESULT_SUCCESS`; `RESULT_NOT_IMPLEMENTED` for the reserved modes;
  ///         `RESULT_INVALID_ARGUMENT` for other modes and a null file name; `RESULT_FAILURE` if
  ///         the document cannot be created or the root's name is refused (the source then has no
  ///         document); `RESULT_OUT_OF_MEMORY`.
  virtual unsigned long create_source(CreateFilePath mode, char const *file_name,
                                      char const *root_name);

  /// Sets the search path. The current directory is always searched last; for null, only it.
  /// @return `RESULT_SUCCESS`, `RESULT_ACQUISITION_ERROR` or `RESULT_OUT_OF_MEMORY`.
  unsigned long set_search_path(char const *path);

  /// Tells in which file and line a key, or the key of a value, stands (addition). The line is that
  /// of the last load or save.
  ///
  /// @param file  receives the path under which the file was found, as the system takes it.
  /// @param line  receives the line of the key's tag, from 1; 0 if it is unknown: for a key that no
  ///              file has yet, beyond line 65534, and in a file that declares entities.
  /// @return `RESULT_SUCCESS`; `RESULT_INVALID_ARGUMENT` for null; `RESULT_NOT_FOUND` for a key of
  ///         another source; `RESULT_ACQUISITION_ERROR`; `RESULT_OUT_OF_MEMORY`.
  unsigned long get_location(void const *key, std::string *file, long *line) const;

  /// The number of sources. Guarded by the lock of all sources.
  static int _instance_count;

protected:
  /// Looks for a readable file along the search path. Needs the source mutex held.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` (a warning for each path that was tried),
  ///         `RESULT_INVALID_ARGUMENT` for null, `RESULT_SYSTEM_ERROR` (a warning) as
  ///         `init_source`, `RESULT_OUT_OF_MEMORY`.
  unsigned long find_file(char const *name, std::string *found);

  /// Writes the main document to its file; false if there is none or the write fails.
  bool save() const;

private:
  friend class SettingsFile;
  friend class SourceLookUp;

  // These need the source mutex held.
  static unsigned long read_record(std::string path, std::unique_ptr<DocumentRecord> *record);
  unsigned long load(std::string path);
  void adopt(std::unique_ptr<DocumentRecord> record);
  void const *top_key() const; // null for none

  std::atomic<ConfigRoot> config_root_{CONFIG_ROOT_NONE}; // read without the mutex
  std::unique_ptr<DocumentRecord> main_document_;         // null for none
  std::map<std::string, std::unique_ptr<DocumentRecord>> repositories_;
  std::vector<std::string> search_path_;
  // Filled by searches, dropped when a key is removed; guarded by the source mutex.
  mutable std::unique_ptr<KeyIndex> index_;
};

} // namespace Ostrel
