// SPDX-License-Identifier: Apache-2.0
#include "core/base/platform/Win32SharedLibrary.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/SystemErrorText.hpp"
#include "core/base/platform/process/ProcessMutex.hpp"
#include "core/base/platform/winapi/system.hpp"
#include "core/base/platform/winapi/winapi.hpp"

#include <cstring>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr char const *PATH_VARIABLE = "PATH";
constexpr char const *LIBRARY_PATH_VARIABLE = "OSTREL_LIBRARY_PATH";

ClassCategory category("Ostrel.Core.Base.Win32SharedLibrary");

void append_to_search_path(std::string *search_path, std::string const &directories) {
  *search_path += (search_path->empty() ? "" : Platform::get_search_path_delimiter()) + directories;
}

// Changes PATH until the end of a block.
class TemporaryPath {
public:
  TemporaryPath() = default;
  TemporaryPath(TemporaryPath const &) = delete;
  TemporaryPath &operator=(TemporaryPath const &) = delete;
  ~TemporaryPath() { restore(); }

  // Appends the libraries' directories to PATH. False, with PATH unchanged, without memory.
  bool extend(std::string const &search_path) try {
    was_set_ = read_environment(PATH_VARIABLE, &before_);
    std::string path = before_, libraries;
    if (read_environment(LIBRARY_PATH_VARIABLE, &libraries)) {
      append_to_search_path(&path, libraries);
    }
    if (!search_path.empty()) {
      append_to_search_path(&path, search_path);
    }
    // Sets the old value first: the environment keeps a copy of each value, so that `restore` needs
    // no memory.
    is_changed_ = set_back() && SetEnvironmentVariableA(PATH_VARIABLE, path.c_str()) != FALSE;
    return is_changed_;
  } catch (std::bad_alloc const &) {
    return false;
  }

  bool restore() { return !std::exchange(is_changed_, false) || set_back(); }

private:
  bool set_back() {
    return SetEnvironmentVariableA(PATH_VARIABLE, was_set_ ? before_.c_str() : nullptr) != FALSE;
  }

  std::string before_;
  bool was_set_ = false;
  bool is_changed_ = false;
};

std::string complete_name(std::string const &file_name) {
  bool const is_complete = file_name.find_first_of("./") != std::string::npos;
  return is_complete ? file_name : file_name + SHARED_LIBRARY_EXTENSION;
}

// Null, with a warning, on failure.
HMODULE load_module(std::string const &name) {
  if (HMODULE module = LoadLibraryA(name.c_str()); module != nullptr) {
    return module;
  }
  DWORD const error = GetLastError();
  SystemErrorText const reason;
  category().warn("Library '%s' not found, with error '%ld'", name.c_str(),
                  static_cast<long>(error));
  category().debug("Failed to load '%s': %s", name.c_str(), reason.c_str());
  return nullptr;
}

} // namespace

char const *const ISharedLibrary::INTERFACE_ID = "Ostrel.ISharedObject";

Win32SharedLibrary::~Win32SharedLibrary() {
  Win32SharedLibrary::unload();
}

unsigned int Win32SharedLibrary::add_ref() {
  return ++ref_count_;
}

unsigned int Win32SharedLibrary::remove_ref() {
  // 0 while the object is being deleted: the library's destructors may release it once more.
  if (ref_count_ == 0) {
    return 0;
  }
  if (--ref_count_ > 0) {
    return ref_count_;
  }
  delete this;
  return 0;
}

unsigned int Win32SharedLibrary::ref_count() {
  return ref_count_;
}

unsigned long Win32SharedLibrary::obtain_interface(unsigned long /*interface_id*/,
                                                   char const *interface_name, void **result) {
  if (interface_name == nullptr || std::strcmp(interface_name, INTERFACE_ID) != 0) {
    return RESULT_NOT_IMPLEMENTED;
  }
  if (result == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  *result = static_cast<ISharedLibrary *>(this);
  add_ref();
  return RESULT_SUCCESS;
}

char const *Win32SharedLibrary::get_name() const {
  return name_.c_str();
}

unsigned long Win32SharedLibrary::get_symbol(char const *symbol, void **address) const {
  if (!is_loaded()) {
    return RESULT_INVALID_STATE;
  }
  if (address == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  *address = nullptr;
  if (symbol != nullptr) {
    *address = reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(module_), symbol));
  }
  return *address != nullptr ? RESULT_SUCCESS : RESULT_NOT_FOUND;
}

unsigned long Win32SharedLibrary::set_name(char const *name) try {
  if (is_loaded()) {
    return RESULT_INVALID_STATE;
  }
  if (name == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  name_ = name;
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

void Win32SharedLibrary::clear_search_path() {
  search_path_.clear();
}

unsigned long Win32SharedLibrary::add_search_path(char const *directories) try {
  if (directories == nullptr) {
    return RESULT_SUCCESS;
  }
  append_to_search_path(&search_path_, directories);
  return RESULT_SUCCESS;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

bool Win32SharedLibrary::is_loaded() const {
  return module_ != nullptr;
}

unsigned long Win32SharedLibrary::load() {
  return basic_load(name_);
}

unsigned long Win32SharedLibrary::unload() {
  // Cleared first: the library's destructors run inside, and must find nothing loaded.
  void *const module = std::exchange(module_, nullptr);
  if (module == nullptr) {
    return RESULT_SUCCESS;
  }
  ProcessLock const lock(ProcessMutex::LIBRARIES);
  return FreeLibrary(static_cast<HMODULE>(module)) != FALSE ? RESULT_SUCCESS : RESULT_SYSTEM_ERROR;
}

unsigned long Win32SharedLibrary::basic_load(std::string const &file_name) try {
  if (is_loaded()) {
    return RESULT_SUCCESS;
  }
  std::string const name = complete_name(file_name);
  ProcessLock const lock(ProcessMutex::LIBRARIES);
  TemporaryPath path;
  if (!path.extend(search_path_)) {
    category().warn("Failed to set temporary PATH");
    return RESULT_OUT_OF_MEMORY;
  }
  module_ = load_module(name);
  if (!path.restore()) {
    category().warn("Unable to restore PATH");
    return RESULT_OUT_OF_MEMORY;
  }
  return is_loaded() ? RESULT_SUCCESS : RESULT_NOT_FOUND;
} catch (std::bad_alloc const &) {
  return RESULT_OUT_OF_MEMORY;
}

} // namespace Ostrel
