// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/IObject.hpp"

namespace Ostrel {

/// A library that is loaded at run time. Made by `Platform::create_shared_library`; the caller owns
/// one reference and gives it up with `remove_ref`.
///
/// Unloading takes the library's code and data away. Who unloads it, or gives up the last
/// reference, sees to it that nothing of it is in use any more: its functions and what they handed
/// out, logging outputs and other objects of its classes, its threads.
///
/// Not synchronised: one thread at a time. Loads and unloads of different objects wait for each
/// other, also for the constructors and destructors that run inside. These may do so through this
/// interface in their turn; but those of a library that the program loads or unloads by the
/// system's own call must not while another thread does: each would wait for what the other holds.
class OSTBASE_API ISharedLibrary : public IObject {
protected:
  ~ISharedLibrary() override = default;

public:
  /// The name under which `obtain_interface` gives this interface: "Ostrel.ISharedObject".
  static char const *const INTERFACE_ID;

  /// The name as it was set; empty at first. Valid until the name changes or the object is gone.
  virtual char const *get_name() const = 0;

  /// Looks up a function or an object that the library itself defines. An object that all libraries
  /// of a process share, such as an inline variable of C++, is found only in the library that was
  /// loaded first.
  ///
  /// @param symbol   borrowed; there is none of the name null.
  /// @param address  receives the address, or null when there is none; otherwise untouched.
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND`, `RESULT_INVALID_STATE` when nothing is loaded,
  ///         or `RESULT_INVALID_ARGUMENT` for a null `address`.
  virtual unsigned long get_symbol(char const *symbol, void **address) const = 0;

  /// Sets the file name of the library, with or without directory and extension.
  ///
  /// @param name  copied.
  /// @return `RESULT_SUCCESS`, or with the name unchanged `RESULT_INVALID_STATE` while a library is
  ///         loaded, `RESULT_INVALID_ARGUMENT` for null or `RESULT_OUT_OF_MEMORY`.
  virtual unsigned long set_name(char const *name) = 0;

  /// Empties the object's own search path; the next load knows of it, as of what is added.
  virtual void clear_search_path() = 0;

  /// Adds to the directories in which the next load looks for the library.
  ///
  /// @param directories  one, or several separated by ";", copied; null adds nothing.
  /// @return `RESULT_SUCCESS`, or `RESULT_OUT_OF_MEMORY` with the search path unchanged.
  virtual unsigned long add_search_path(char const *directories) = 0;

  /// Whether a library is loaded.
  virtual bool is_loaded() const = 0;

  /// Loads the library of the object's name; does nothing when one is loaded.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_NOT_FOUND` (logged as a warning) when it is not found or
  ///         cannot be loaded, or `RESULT_OUT_OF_MEMORY`.
  virtual unsigned long load() = 0;

  /// Unloads the library; does nothing when none is loaded.
  ///
  /// @return `RESULT_SUCCESS`, or `RESULT_SYSTEM_ERROR` when the system refuses; the object has no
  ///         library any more all the same.
  virtual unsigned long unload() = 0;
};

} // namespace Ostrel
