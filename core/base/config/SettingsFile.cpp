// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/SettingsFile.hpp"

#include "core/base/config/DocumentRecord.hpp"
#include "core/base/config/xml/Reader.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/DirectoryLock.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

#include <atomic>
#include <memory>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr std::uint32_t LOCK_TIMEOUT_MS = 2000; // far more than a save takes

ClassCategory category("Ostrel.Core.Base.UserConfig");

void report_missing_lock(char const *path) {
  static std::atomic<bool> is_reported{false};
  if (!is_reported.exchange(true)) {
    SystemErrorText const reason;
    category().debug("Unable to lock the directory of '%s': %s", path, reason.c_str());
  }
}

bool is_read(unsigned long result) {
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
  is_loaded_ = result == RESULT_SUCCESS;
  return result;
}

std::string SettingsFile::path() const {
  return native_form_of(source_.main_document_->file_name);
}

bool SettingsFile::read(SettingKey const &key, std::string *text) const {
  return is_read(configuration_.get_value(key.path.c_str(), key.name.c_str(), text));
}

bool SettingsFile::read(void const *key, char const *name, std::string *text) const {
  return is_read(configuration_.get_value(key, nullptr, name, text));
}

long SettingsFile::line_of(void const *key) const {
  std::string file;
  long line = 0;
  return is_read(source_.get_location(key, &file, &line)) ? line : 0;
}

bool SettingsFile::has_changed() const {
  XmlConfigSource::DocumentRecord const &record = *source_.main_document_;
  File file;
  FileIdentity identity;
  bool const is_same = record.identity &&
                       file.open_for_reading(record.file_name.c_str()) == RESULT_SUCCESS &&
                       file.get_identity(&identity) && identity == *record.identity;
  return !is_same;
}

bool SettingsFile::adopt(XmlReading reading, std::string path) {
  is_loaded_ = reading.document.root() != nullptr;
  if (is_loaded_) {
    auto record = std::make_unique<XmlConfigSource::DocumentRecord>();
    record->adopt(std::move(reading));
    record->file_name = std::move(path);
    ProcessLock const lock(ProcessMutex::SOURCE);
    source_.adopt(std::move(record));
  }
  return is_loaded_;
}

// --- Commits ----------------------------------------------------------------------------------

unsigned long SettingsFile::commit(std::vector<SettingChange> const &changes) {
  std::string const file = path();
  DirectoryLock lock(file.c_str(), LOCK_TIMEOUT_MS);
  if (lock.state() == DirectoryLock::State::BUSY) {
    category().warn("Unable to commit to '%s': another process has locked its directory for %u ms",
                    file.c_str(), static_cast<unsigned int>(LOCK_TIMEOUT_MS));
    return RESULT_FAILURE;
  }
  if (lock.state() == DirectoryLock::State::UNAVAILABLE) {
    report_missing_lock(file.c_str());
  }
  bool is_refreshed = false;
  if (unsigned long const result = refresh(&is_refreshed); result != RESULT_SUCCESS) {
    return result;
  }
  if (is_refreshed) {
    lock.let_others_pass();
  }
  unsigned long const result = apply(changes);
  if (result != RESULT_SUCCESS) {
    source_.main_document_->digest.reset(); // so that the next commit does not write these changes
    bool const is_single_text = changes.size() == 1 && changes.front().text;
    if (!is_single_text) {
      refresh(&is_refreshed);
    }
  }
  return result;
}

// Loads the file afresh unless its contents are those of the document. Compares contents, since two
// changes within the resolution of the file system's clock have the same time.
unsigned long SettingsFile::refresh(bool *is_refreshed) {
  ProcessLock const lock(ProcessMutex::SOURCE);
  XmlConfigSource::DocumentRecord const &record = *source_.main_document_;
  char const *const path = record.file_name.c_str();
  ContentDigest present;
  unsigned long const found = read_digest(path, &present);
  bool const is_new_file = found == RESULT_NOT_FOUND || found == RESULT_UNSUPPORTED_FORMAT;
  if (is_new_file || (found == RESULT_SUCCESS && record.digest == present)) {
    return RESULT_SUCCESS;
  }
  XmlReading reading = read_xml_file(path);
  if (reading.result == RESULT_SUCCESS && reading.document.root() == nullptr) {
    reading.fault = "it has no root element";
  }
  if (!reading.fault.empty()) {
    category().warn("Unable to commit to '%s': %s", this->path().c_str(), reading.fault.c_str());
    return RESULT_FAILURE;
  }
  *is_refreshed = adopt(std::move(reading), std::string(record.file_name));
  return RESULT_SUCCESS;
}

unsigned long SettingsFile::apply(std::vector<SettingChange> const &changes) try {
  for (SettingChange const &change : changes) {
    if (unsigned long const result = apply(change); result != RESULT_SUCCESS) {
      return result;
    }
  }
  return source_.save() ? RESULT_SUCCESS : RESULT_FAILURE;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long SettingsFile::apply(SettingChange const &change) {
  if (change.text) {
    return set(change.key, change.text->c_str());
  }
  remove(change.key);
  return RESULT_SUCCESS;
}

unsigned long SettingsFile::set(SettingKey const &key, char const *text) {
  void const *node = find_key(key.path.c_str());
  if (node == nullptr) {
    node = configuration_.create_path(key.path.c_str(), /*commit=*/false);
  }
  if (node == nullptr) {
    return RESULT_FAILURE;
  }
  unsigned long const result =
      configuration_.set_value(node, nullptr, key.name.c_str(), text, /*commit=*/false);
  return result == RESULT_SUCCESS || result == RESULT_OUT_OF_MEMORY
             ? result
             : static_cast<unsigned long>(RESULT_FAILURE);
}

// Nothing is left to do for a setting that only the process has, or that another has removed.
void SettingsFile::remove(SettingKey const &key) const {
  ProcessLock const lock(ProcessMutex::SOURCE);
  XmlNode *const node = key_of(find_key(key.path.c_str()));
  XmlNode *const value = node == nullptr ? nullptr : find_named_value(*node, key.name.c_str());
  if (value != nullptr) {
    remove_named_value(*value);
  }
}

} // namespace Ostrel
