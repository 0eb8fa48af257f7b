// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IObject.hpp"

namespace Ostrel {

/// A library that is loaded at run time. Created by `Platform::create_shared_library`; the caller
/// owns one reference and releases it with `remove_ref`.
///
/// Unloading removes the library's code and data from memory. Before the caller unloads it, or
/// releases the last reference, nothing of it may be in use: its functions and what they returned,
/// objects of its classes (such as logging outputs), its threads.
///
/// Not synchronised: one thread at a time. A process-wide lock serialises the loads and unloads of
/// all objects, and is held while constructors and destructors of a library run. These may load and
/// unload through this interface as well. If the program loads a library by the system's own call,
/// the constructors of that library must not: with another thread that loads through this
/// interface, they would deadlock on the loader's lock. The same holds for unloads.
class OSTBASE_API ISharedLibrary : public IObject {
protected:
  ~ISharedLibrary() override = default;

public:
  /// The name under which `obtain_interface` returns this interface: "Ostrel.ISharedObject".
  static char const *const INTERFACE_ID;

  /// The name as set; empty at first. Valid until the name changes or the object is deleted.
  virtual char const *get_name() const = 0;

  /// Looks up a function or an object that the library itself defines. An object that all libraries
  /// of a process share, such as an inline variable of C++, is found only in the library that was
  /// loaded first.
  ///
  /// @param symbol   borrowed; null is not found.
  /// @param address  receives the address, or null if it is not found; otherwise untouched.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND`, `RESULT_INVALID_STATE` if no library is loaded,
  ///         or `RESULT_INVALID_ARGUMENT` for a null `address`.
  virtual unsigned long get_symbol(char const *symbol, void **address) const = 0;

  /// Sets the file name of the library, with or without directory and extension.
  ///
  /// @param name  copied.
  /// @return `RESULT_SUCCESS`, or with the name unchanged `RESULT_INVALID_STATE` while a library is
  ///         loaded, `RESULT_INVALID_ARGUMENT` for null or `RESULT_OUT_OF_MEMORY`.
  virtual unsigned long set_name(char const *name) = 0;

  /// Clears the object's own search path, from the next load on.
  virtual void clear_search_path() = 0;

  /// Adds directories in which the next load looks for the library.
  ///
  /// @param directories  one, or several separated by ";", copied; null adds nothing.
  /// @return `RESULT_SUCCESS`, or `RESULT_OUT_OF_MEMORY` with the search path unchanged.
  virtual unsigned long add_search_path(char const *directories) = 0;

  /// Whether a library is loaded.
  virtual bool is_loaded() const = 0;

  /// Loads the library that `set_name` set; does nothing if a library is loaded.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` (logged as a warning) if it is not found or
  ///         cannot be loaded, or `RESULT_OUT_OF_MEMORY`.
  virtual unsigned long load() = 0;

  /// Unloads the library; does nothing if none is loaded.
  ///
  /// @return `RESULT_SUCCESS`, or `RESULT_SYSTEM_ERROR` if the system refuses; the object counts as
  ///         not loaded either way.
  virtual unsigned long unload() = 0;
};

} // namespace Ostrel
