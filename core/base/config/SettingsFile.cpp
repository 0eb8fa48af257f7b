// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SettingsFile.hpp"

#include "core/base/config/RootFiles.hpp"
#include "core/base/config/xml/DocumentRecord.hpp"
#include "core/base/config/xml/Reader.hpp"
#include "core/base/config/xml/Writer.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/DirectoryLock.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr std::uint32_t LOCK_TIMEOUT_MS = 2000; // far more than a save of a usual file takes

ClassCategory category("Ostrel.Core.Base.UserConfig");

void report_missing_lock(std::string const &path) {
  static std::atomic<bool> is_reported{false};
  if (!is_reported.exchange(true)) {
    SystemErrorText const reason;
    category().debug("Unable to lock the directory of '%s': %s", path.c_str(), reason.c_str());
  }
}

// Whether the lock is held, or there are none; else with a warning.
bool may_commit(std::string const &path, DirectoryLock const &lock) {
  switch (lock.state()) {
  case DirectoryLock::State::BUSY:
    category().warn("Unable to commit to '%s': its directory was locked for %u ms", path.c_str(),
                    static_cast<unsigned int>(LOCK_TIMEOUT_MS));
    return false;
  case DirectoryLock::State::FAILED: {
    SystemErrorText const reason;
    category().warn("Unable to commit to '%s': %s", path.c_str(), reason.c_str());
    return false;
  }
  case DirectoryLock::State::UNAVAILABLE:
    report_missing_lock(path);
    break;
  case DirectoryLock::State::HELD:
    break;
  }
  return true;
}

// In view of the present current directory, which the program may change. A dot at the start
// depends on it as well, although it counts as absolute.
std::string absolute_form_of(std::string const &path) {
  bool const is_relative = !Platform::is_absolute_path(path.c_str()) || path.front() == '.';
  std::string directory;
  bool const is_known =
      is_relative && Platform::get_current_directory(&directory) == RESULT_SUCCESS;
  return is_known ? native_form_of(directory + Platform::get_path_delimiter() + path) : path;
}

// Throws std::bad_alloc for a lack of memory.
bool succeeded(unsigned long result) {
  if (result == RESULT_OUT_OF_MEMORY) {
    throw std::bad_alloc();
  }
  return result == RESULT_SUCCESS;
}

} // namespace

std::optional<SettingKey> split_setting_key(std::string_view full_key) {
  std::size_t const first = full_key.find('/'), last = full_key.rfind('/');
  bool const is_well_formed = first != full_key.npos && first != 0 && first != last &&
                              last + 1 != full_key.size() && full_key.find("//") == full_key.npos;
  if (!is_well_formed) {
    category().warn("Malformed key + value. Valid keys should be of the form "
                    "root/key(1..n)/value");
    return std::nullopt;
  }
  return SettingKey{std::string(full_key.substr(0, last)), std::string(full_key.substr(last + 1))};
}

unsigned long SettingsFile::load() {
  std::string path;
  unsigned long result = read_system_property(Platform::CONFIG_PATH, &path);
  if (result == RESULT_SUCCESS) {
    result = source_.set_search_path(path.c_str());
  }
  if (result == RESULT_SUCCESS) {
    result = configuration_.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr);
  }
  if (result == RESULT_SUCCESS) {
    absolute_path_ = absolute_form_of(this->path());
  }
  return result;
}

std::string SettingsFile::path() const {
  return native_form_of(source_.main_document_->file_name);
}

bool SettingsFile::read(SettingKey const &key, std::string *text) const {
  return succeeded(configuration_.get_value(key.path.c_str(), key.name.c_str(), text));
}

bool SettingsFile::read(void const *key, char const *name, std::string *text) const {
  return succeeded(configuration_.get_value(key, nullptr, name, text));
}

long SettingsFile::line_of(void const *key) const {
  std::string file;
  long line = 0;
  return succeeded(source_.get_location(key, &file, &line)) ? line : 0;
}

SettingsFile::Change SettingsFile::look_for_change() const {
  if (!is_loaded()) {
    return is_anywhere() ? Change::CHANGED : Change::MISSING;
  }
  DocumentRecord const &record = *source_.main_document_;
  File file;
  FileIdentity identity;
  if (file.open_for_reading(absolute_path_.c_str()) != RESULT_SUCCESS) {
    return file_was_missing() ? Change::MISSING : Change::CHANGED;
  }
  if (!file.is_regular()) { // a read may wait without end
    return Change::NONE;
  }
  bool const is_same =
      record.identity && file.get_identity(&identity) && identity == *record.identity;
  return is_same ? Change::NONE : Change::CHANGED;
}

// Whether a load would find a file; unlike the search of a load it logs nothing.
bool SettingsFile::is_anywhere() const {
  char const *const file_name = file_name_of(IConfigSource::CONFIG_ROOT_USER_CONFIG);
  std::vector<SearchPathElement> elements;
  Platform::get_search_path_elements(Platform::CONFIG_PATH, &elements);
  elements.emplace_back(); // the current directory
  return std::any_of(elements.begin(), elements.end(), [file_name](auto const &element) {
    std::string const directory = element.directory.empty() ? "." : element.directory;
    return Platform::file_exists(
               (directory + Platform::get_path_delimiter() + file_name).c_str()) == RESULT_SUCCESS;
  });
}

bool SettingsFile::load_from(std::string path, std::string *fault) {
  ProcessLock const lock(ProcessMutex::SOURCE); // also while the XML library frees the document
  XmlReading reading = read_xml_file(path.c_str());
  if (reading.document.root() != nullptr) {
    auto record = std::make_unique<DocumentRecord>();
    *record = {std::move(reading.document), std::move(path), reading.identity};
    source_.adopt(std::move(record));
  }
  *fault = std::move(reading.fault);
  return is_loaded();
}

void SettingsFile::exchange(std::unique_ptr<DocumentRecord> *record) {
  std::unique_ptr<DocumentRecord> before = std::move(source_.main_document_);
  source_.adopt(std::move(*record));
  *record = std::move(before);
}

// --- Commits ----------------------------------------------------------------------------------

// The links are followed once: the lock, the read and the write are of the same file, also if a
// link is changed meanwhile.
unsigned long SettingsFile::commit(std::vector<SettingChange> const &changes) {
  std::string const found_path = path();
  std::string target;
  if (!find_link_target(absolute_path_.c_str(), &target)) {
    SystemErrorText const reason;
    category().warn("Unable to commit to '%s': %s", found_path.c_str(), reason.c_str());
    return RESULT_FAILURE;
  }
  DirectoryLock const lock(target.c_str(), LOCK_TIMEOUT_MS);
  if (!may_commit(found_path, lock)) {
    return RESULT_FAILURE;
  }
  auto record = std::make_unique<DocumentRecord>();
  DocumentRecord &present = *record;
  {
    ProcessLock const source_lock(ProcessMutex::SOURCE);
    if (!read_present(std::move(target), record.get())) {
      return RESULT_FAILURE;
    }
    exchange(&record);
  }
  unsigned long const result = apply(changes);
  ProcessLock const source_lock(ProcessMutex::SOURCE);
  if (result == RESULT_SUCCESS) {
    present.file_name = std::move(record->file_name); // as it was found
  } else {
    exchange(&record);
  }
  record.reset(); // under the lock of the XML library
  return result;
}

// Reads the present contents of the file, even if its times are the same: two changes within the
// resolution of the file system's clock have the same times. A file that does not exist is written
// anew, with the contents of this document. A pipe or a device is refused: it can block forever.
bool SettingsFile::read_present(std::string target, DocumentRecord *record) const {
  File file;
  bool const is_open = file.open_for_reading(target.c_str()) == RESULT_SUCCESS;
  XmlReading reading;
  if (is_open && !file.is_regular()) {
    reading.fault = "it is not a regular file";
  } else if (!is_open && file_was_missing()) {
    reading.document = copy_xml_document(source_.main_document_->document, &reading.fault);
  } else {
    file.close();
    reading = read_xml_file(target.c_str());
  }
  if (reading.document.root() == nullptr) {
    category().warn("Unable to commit to '%s': %s", path().c_str(), reading.fault.c_str());
    return false;
  }
  *record = {std::move(reading.document), std::move(target), std::nullopt};
  return true;
}

unsigned long SettingsFile::apply(std::vector<SettingChange> const &changes) try {
  for (SettingChange const &change : changes) {
    unsigned long const result =
        change.text ? set(change.key, change.text->c_str()) : remove(change.key);
    bool const is_done = result == RESULT_NOT_FOUND && change.may_be_missing;
    if (result != RESULT_SUCCESS && !is_done) {
      return result;
    }
  }
  return source_.save() ? RESULT_SUCCESS : RESULT_FAILURE;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long SettingsFile::set(SettingKey const &key, char const *text) {
  void const *node = find_key(key.path.c_str());
  if (node == nullptr) {
    node = configuration_.create_path(key.path.c_str(), /*commit=*/false);
  }
  if (node == nullptr) {
    return RESULT_FAILURE;
  }
  return succeeded(
             configuration_.set_value(node, nullptr, key.name.c_str(), text, /*commit=*/false))
             ? RESULT_SUCCESS
             : RESULT_FAILURE;
}

unsigned long SettingsFile::remove(SettingKey const &key) const {
  XmlNode *const node = key_of(find_key(key.path.c_str())); // first: it acquires an outer lock
  ProcessLock const lock(ProcessMutex::SOURCE);
  XmlNode *const value = node == nullptr ? nullptr : find_named_value(*node, key.name.c_str());
  return value != nullptr && remove_named_value(*value) ? RESULT_SUCCESS : RESULT_NOT_FOUND;
}

} // namespace Ostrel
