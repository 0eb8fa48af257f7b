// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/ISharedLibrary.hpp"

#include <string>

namespace Ostrel {

/// A library loaded by the operating system's loader.
///
/// During a load, the environment variable `PATH` of the process is the old `PATH`, then
/// `OSTREL_LIBRARY_PATH`, then the object's own search path. The library, and what its constructors
/// load, is searched in this order. Other threads may read the longer `PATH` meanwhile.
class OSTBASE_API Win32SharedLibrary : public ISharedLibrary {
protected:
  /// Unloads the library, if one is loaded.
  ~Win32SharedLibrary() override;

public:
  /// No name, an empty search path, nothing loaded. The caller owns one reference.
  Win32SharedLibrary() = default;
  Win32SharedLibrary(Win32SharedLibrary const &) = delete;
  Win32SharedLibrary &operator=(Win32SharedLibrary const &) = delete;

  unsigned int add_ref() override;
  unsigned int remove_ref() override;
  unsigned int ref_count() override;

  /// Returns this object as `ISharedLibrary`, with one more reference.
  ///
  /// @param interface_id    ignored.
  /// @param interface_name  `ISharedLibrary::INTERFACE_ID`; any other, and null, is unknown.
  /// @param result          receives the object; untouched on failure.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_IMPLEMENTED` for an unknown name, or
  ///         `RESULT_INVALID_ARGUMENT` for a null `result`.
  unsigned long obtain_interface(unsigned long interface_id, char const *interface_name,
                                 void **result) override;

  char const *get_name() const override;
  unsigned long get_symbol(char const *symbol, void **address) const override;
  unsigned long set_name(char const *name) override;
  void clear_search_path() override;
  unsigned long add_search_path(char const *directories) override;
  bool is_loaded() const override;
  unsigned long load() override;
  unsigned long unload() override;

  /// Loads a library of the given name instead of the object's name, which does not change; does
  /// nothing if a library is loaded.
  ///
  /// A name without dot and slash gets the system's extension (".so", on Windows ".dll"). A name
  /// with a directory is used as it is. Any other is searched along `PATH` first, then in the
  /// loader's usual places; the search ends at the first file of the name, even if it cannot be
  /// loaded. On Windows the order is the loader's own: a library of that name that is loaded
  /// already, the usual places, `PATH`.
  ///
  /// @return as `load`; also `RESULT_OUT_OF_MEMORY` if `PATH` cannot be set, or cannot be restored
  ///         (the library may be loaded then); each is logged as a warning.
  unsigned long basic_load(std::string const &file_name);

private:
  unsigned int ref_count_ = 1;
  std::string name_;
  std::string search_path_;
  void *module_ = nullptr; // the loader's handle; null while nothing is loaded
};

} // namespace Ostrel
