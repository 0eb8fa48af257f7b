// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/platform/ISharedLibrary.hpp"

#include <string>

namespace Ostrel {

/// A library in the hands of the operating system's loader.
///
/// For the time of a load the environment variable `PATH` of the process is the old `PATH`, then
/// `OSTREL_LIBRARY_PATH`, then the object's own search path: there, in this order, the library is
/// looked for, and so is what its constructors load. Loads on different threads wait for each
/// other; other readers of `PATH` may meet the longer one.
class OSTBASE_API Win32SharedLibrary : public ISharedLibrary {
protected:
  /// Unloads the library, if one is loaded.
  ~Win32SharedLibrary() override;

public:
  /// No name, an empty search path, nothing loaded, and the caller for an owner.
  Win32SharedLibrary() = default;
  Win32SharedLibrary(Win32SharedLibrary const &) = delete;
  Win32SharedLibrary &operator=(Win32SharedLibrary const &) = delete;

  unsigned int add_ref() override;
  unsigned int remove_ref() override;
  unsigned int ref_count() override;

  /// Gives this object, with one reference more, as `ISharedLibrary`.
  ///
  /// @param interface_id    means nothing.
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

  /// Loads a library of another name than the object's, which stays; does nothing when one is
  /// loaded.
  ///
  /// A name without dot and slash gets the system's extension (".so", on Windows ".dll"). A name
  /// with a directory is that of a file; any other is looked for along `PATH` first, and then in
  /// the loader's usual places. The first file of the name is taken, even when it cannot be loaded.
  /// On Windows the order is the loader's own: a library of that name that is loaded already, the
  /// usual places, `PATH`.
  ///
  /// @return as `load`. `RESULT_OUT_OF_MEMORY` also when `PATH` cannot be set or, with the library
  ///         loaded if it could be, not be set back (each logged as a warning).
  unsigned long basic_load(std::string const &file_name);

private:
  unsigned int ref_count_ = 1; // owners of the object
  std::string name_;
  std::string search_path_; // separated by the search-path delimiter
  void *module_ = nullptr;  // the loader's handle; null while nothing is loaded
};

} // namespace Ostrel
