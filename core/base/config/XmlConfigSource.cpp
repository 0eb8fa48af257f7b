// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/XmlConfigSource.hpp"

#include "core/base/config/RootFiles.hpp"
#include "core/base/config/SourceLookUp.hpp"
#include "core/base/config/xml/DocumentRecord.hpp"
#include "core/base/config/xml/Reader.hpp"
#include "core/base/config/xml/Writer.hpp"
#include "core/base/config/xml/XmlDocument.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/StringUtils.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/File.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"

#include <algorithm>
#include <deque>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr char CATEGORY_NAME[] = "Ostrel.Core.Base.XmlConfigSource";

ClassCategory category(CATEGORY_NAME);

// Logs a warning if the lock cannot be acquired.
class LoggedSourceLock : public ProcessLock {
public:
  LoggedSourceLock() : ProcessLock(ProcessMutex::SOURCE) {
    if (!*this) {
      LoggingCategory::get_instance(CATEGORY_NAME).warn("Could not obtain mutex lock");
    }
  }
};

// A temporary error ends the search: the next directory may hold another configuration.
unsigned long try_candidate(std::string const &path, std::string *found) {
  unsigned long const result = File().open_for_reading(path.c_str());
  if (result == RESULT_SYSTEM_ERROR) {
    SystemErrorText const reason;
    category().warn("Unable to read file '%s': %s", path.c_str(), reason.c_str());
  }
  if (result == RESULT_SUCCESS) {
    *found = path;
  }
  return result;
}

} // namespace

int XmlConfigSource::_instance_count = 0;

// --- Construction and loading -----------------------------------------------------------------

XmlConfigSource::XmlConfigSource() {
  SourceLookUp::register_indexed_class(*this);
  {
    LoggedSourceLock const lock;
    set_xml_layout();
    ++_instance_count;
  }
  std::string path;
  if (read_system_property(Platform::CONFIG_PATH, &path) != RESULT_SUCCESS) {
    category().warn("Failed to determine system configuration path");
    return;
  }
  set_search_path(path.c_str());
}

unsigned long XmlConfigSource::init_source(void const *file) try {
  auto const *const file_name = static_cast<char const *>(file);
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (file_name == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  std::string found;
  if (unsigned long const result = find_file(file_name, &found); result != RESULT_SUCCESS) {
    category().warn("Failed to find file '%s'", file_name);
    return result;
  }
  LoggingCategoryPostfixed(&category()).trace("Loading '%s'", found.c_str());
  return load(std::move(found));
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::load(std::string path) {
  std::unique_ptr<DocumentRecord> record;
  unsigned long const result = read_record(std::move(path), &record);
  if (result == RESULT_FAILURE) {
    adopt(nullptr);
  }
  if (result != RESULT_SUCCESS) {
    return result;
  }
  XmlNode const *const top = record->document.root();
  if (top == nullptr) {
    category().warn("Invalid Root node in xml file %s; aborting parse", record->file_name.c_str());
    return RESULT_FAILURE;
  }
  config_root_ = root_of(name_of(*top));
  adopt(std::move(record));
  return RESULT_SUCCESS;
}

unsigned long XmlConfigSource::read_record(std::string path,
                                           std::unique_ptr<DocumentRecord> *record) {
  XmlReading reading = read_xml_file(path.c_str());
  if (reading.result == RESULT_SYSTEM_ERROR) {
    category().warn("Unable to read file '%s': %s", path.c_str(), reading.fault.c_str());
  }
  if (reading.result == RESULT_FAILURE) {
    category().debug("%s", reading.fault.c_str());
    category().warn("Failed to parse config file %s", path.c_str());
  }
  unsigned long const result = reading.result;
  if (result == RESULT_SUCCESS) {
    *record = std::make_unique<DocumentRecord>();
    **record = {std::move(reading.document), std::move(path), reading.identity};
  }
  return result;
}

void XmlConfigSource::adopt(std::unique_ptr<DocumentRecord> record) {
  index_.reset();
  main_document_ = std::move(record);
}

unsigned long XmlConfigSource::init_source(ConfigRoot root, void const *path) {
  if (path != nullptr) {
    unsigned long const result = set_search_path(static_cast<char const *>(path));
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  char const *const file_name = file_name_of(root);
  return file_name == nullptr ? static_cast<unsigned long>(RESULT_INVALID_ARGUMENT)
                              : init_source(static_cast<void const *>(file_name));
}

void const *XmlConfigSource::open_repository(char const *name) try {
  if (name == nullptr) {
    return nullptr;
  }
  LoggedSourceLock const lock;
  if (!lock) {
    return nullptr;
  }
  if (auto const open = repositories_.find(name); open != repositories_.end()) {
    return open->second->document.root();
  }
  char const *const delimiter = Platform::get_path_delimiter();
  std::string relative_path = delimiter + std::string(name);
  std::replace(relative_path.begin(), relative_path.end(), '.', *delimiter);
  relative_path += ".xml";
  std::string found;
  std::unique_ptr<DocumentRecord> record;
  if (find_file(relative_path.c_str(), &found) != RESULT_SUCCESS ||
      read_record(std::move(found), &record) != RESULT_SUCCESS) {
    return nullptr;
  }
  XmlNode const *const top = record->document.root();
  if (top == nullptr) {
    category().warn("Root node of %s is null, aborting parse", record->file_name.c_str());
    return nullptr;
  }
  repositories_.emplace(name, std::move(record));
  return top;
} catch (std::bad_alloc const &) {
  return nullptr;
}

void XmlConfigSource::close_repository(char const *name) try {
  LoggedSourceLock const lock;
  if (!lock || name == nullptr) {
    return;
  }
  if (auto const open = repositories_.find(name); open != repositories_.end()) {
    index_.reset();
    repositories_.erase(open);
  }
} catch (std::bad_alloc const &) {
  // The name could not be looked up; the repository stays open.
}

IConfigSource::ConfigRoot XmlConfigSource::get_config_root() {
  return config_root_;
}

// --- Walking ----------------------------------------------------------------------------------

void const *XmlConfigSource::find_first(void const *key, std::string *name) const try {
  LoggedSourceLock const lock;
  if (!lock || name == nullptr) {
    return nullptr;
  }
  return read_key(key == nullptr ? node_of(top_key()) : first_sub_key(*node_of(key)), name);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_next(void const *key, std::string *name) const try {
  LoggedSourceLock const lock;
  if (!lock || key == nullptr || name == nullptr) {
    return nullptr;
  }
  return read_key(next_key(*node_of(key)), name);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_first_value(void const *key, std::string *name,
                                              std::string *text) const try {
  LoggedSourceLock const lock;
  if (!lock || key == nullptr || name == nullptr || text == nullptr) {
    return nullptr;
  }
  return read_value(node_of(key), name, text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_next_value(void const *value, std::string *name,
                                             std::string *text) const try {
  LoggedSourceLock const lock;
  if (!lock || value == nullptr || name == nullptr || text == nullptr) {
    return nullptr;
  }
  return read_value(next_named_value(*node_of(value)), name, text);
} catch (std::bad_alloc const &) {
  return nullptr;
}

void const *XmlConfigSource::find_indexed_sub_key(void const *key, char const *name,
                                                  int index) const {
  if (key == nullptr || name == nullptr || index < 0) {
    return nullptr;
  }
  return find_child(*node_of(key), name, &index);
}

bool XmlConfigSource::get_key_name(void const *key, std::string *name) const try {
  return name != nullptr && read_key(node_of(key), name) != nullptr;
} catch (std::bad_alloc const &) {
  return false;
}

bool XmlConfigSource::get_value_data(void const *value, std::string *name, std::string *text) const
    try {
  return name != nullptr && text != nullptr && read_value(node_of(value), name, text) != nullptr;
} catch (std::bad_alloc const &) {
  return false;
}

void const *XmlConfigSource::top_key() const {
  return main_document_ == nullptr ? nullptr : main_document_->document.root();
}

// --- Editing ----------------------------------------------------------------------------------

void const *XmlConfigSource::create_key(void const *parent, char const *name, bool commit) try {
  LoggedSourceLock const lock;
  XmlNode *const node = lock ? key_of(parent) : nullptr;
  if (node == nullptr || name == nullptr) {
    return nullptr;
  }
  if (XmlFault const fault = find_sub_key_fault(*node, name); fault != nullptr) {
    category().warn("Refused to create key '%s': %s", name, fault);
    return nullptr;
  }
  XmlNode const *const created = add_sub_key(*node, name);
  if (created == nullptr) {
    return nullptr;
  }
  if (index_ != nullptr && !index_->append(parent, name_of(*created), created)) {
    index_.reset();
  }
  return commit && !save() ? nullptr : created;
} catch (std::bad_alloc const &) {
  return nullptr;
}

unsigned long XmlConfigSource::set_value(void const *key, char const *name, char const *text,
                                         bool commit) try {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (key == nullptr) {
    return RESULT_SUCCESS;
  }
  XmlNode *const node = key_of(key);
  if (text == nullptr || node == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  if (XmlFault const fault = find_value_fault(*node, name, text); fault != nullptr) {
    category().warn("Refused to set value '%s' of key '%s': %s", name == nullptr ? "" : name,
                    name_of(*node), fault);
    return RESULT_INVALID_ARGUMENT;
  }
  if (name == nullptr) {
    index_.reset(); // the text replaces the sub-keys
  }
  if (!store_value(*node, name, text)) {
    return RESULT_OUT_OF_MEMORY;
  }
  bool const is_written = !commit || main_document_ == nullptr || save();
  return is_written ? RESULT_SUCCESS : RESULT_IO_ERROR;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::delete_key(void const *key) {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  XmlNode *const node = key_of(key);
  if (node == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  index_.reset();
  remove_key(*node);
  return save() ? RESULT_SUCCESS : RESULT_IO_ERROR;
}

unsigned long XmlConfigSource::delete_value(void const *value) {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  if (value == nullptr || !remove_named_value(*node_of(value))) {
    return RESULT_FAILURE;
  }
  return save() ? RESULT_SUCCESS : RESULT_IO_ERROR;
}

unsigned long XmlConfigSource::commit() {
  return save() ? RESULT_SUCCESS : RESULT_FAILURE;
}

bool XmlConfigSource::save() const try {
  ProcessLock const lock(ProcessMutex::SOURCE);
  if (main_document_ == nullptr) {
    return false;
  }
  char const *const path = main_document_->file_name.c_str();
  std::string fault;
  bool const is_written = write_xml_file(main_document_->document, path, &fault);
  if (!fault.empty()) {
    category().debug("Refused to save '%s': %s", path, fault.c_str());
  }
  if (is_written) {
    main_document_->identity.reset();
  }
  return is_written;
} catch (std::bad_alloc const &) {
  return false;
}

// --- Destruction, and the rest of the class ---------------------------------------------------

// Frees the documents under the lock: the XML library frees them under its own mutex, which no
// thread may hold during a fork.
XmlConfigSource::~XmlConfigSource() {
  LoggedSourceLock const lock;
  adopt(nullptr);
  repositories_.clear();
  --_instance_count;
}

unsigned long XmlConfigSource::create_source(CreateFilePath mode, char const *file_name,
                                             char const *root_name) try {
  if (mode == CREATE_RESERVED_1 || mode == CREATE_RESERVED_2) {
    return RESULT_NOT_IMPLEMENTED;
  }
  if (mode != CREATE_GIVEN_PATH || file_name == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  auto record = std::make_unique<DocumentRecord>();
  record->file_name = file_name;
  ProcessLock const lock(ProcessMutex::SOURCE);
  adopt(nullptr);
  record->document = XmlDocument::create();
  if (!record->document) {
    category().warn("Failed to create new file %s", file_name);
    return RESULT_FAILURE;
  }
  bool const is_refused = root_name == nullptr || find_name_fault(root_name) != nullptr;
  if (is_refused || !add_root(record->document, root_name)) {
    category().warn("Failed to create new root node in '%s'", file_name);
    return RESULT_FAILURE;
  }
  adopt(std::move(record));
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::set_search_path(char const *path) try {
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  std::deque<std::string> entries;
  if (path != nullptr) {
    StringUtils::split(path, *Platform::get_search_path_delimiter(), &entries);
    if (entries.empty()) {
      return RESULT_OUT_OF_MEMORY;
    }
  }
  entries.emplace_back(); // the current directory, and the unchanged name
  search_path_ = {entries.begin(), entries.end()};
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::get_location(void const *key, std::string *file, long *line) const
    try {
  if (key == nullptr || file == nullptr || line == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  LoggedSourceLock const lock;
  if (!lock) {
    return RESULT_ACQUISITION_ERROR;
  }
  XmlNode const &node = *node_of(key);
  auto const holds = [&node](DocumentRecord const &record) {
    return contains(record.document, node);
  };
  DocumentRecord const *record =
      main_document_ != nullptr && holds(*main_document_) ? main_document_.get() : nullptr;
  for (auto const &[name, repository] : repositories_) {
    record = record == nullptr && holds(*repository) ? repository.get() : record;
  }
  if (record == nullptr) {
    return RESULT_NOT_FOUND;
  }
  *file = native_form_of(record->file_name);
  *line = line_of(node);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

unsigned long XmlConfigSource::find_file(char const *name, std::string *found) try {
  if (name == nullptr || found == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  char const *const delimiter = Platform::get_path_delimiter();
  bool tries_plain_name = false;
  std::vector<std::string> candidates;
  for (std::string const &entry : search_path_) {
    tries_plain_name = tries_plain_name || entry.empty();
    std::string candidate = entry.empty() ? "." : entry;
    if (*name != *delimiter) {
      candidate += delimiter;
    }
    candidate += name;
    unsigned long result = try_candidate(candidate, found);
    if (result == RESULT_NOT_FOUND && tries_plain_name) {
      result = try_candidate(name, found);
    }
    if (result != RESULT_NOT_FOUND) {
      return result;
    }
    candidates.push_back(std::move(candidate));
  }
  for (std::string const &candidate : candidates) {
    category().warn("Unable to find file '%s'", candidate.c_str());
  }
  return RESULT_NOT_FOUND;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
