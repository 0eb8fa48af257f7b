// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <iosfwd>

namespace Ostrel {

/// An object with several owners, deleted when the last of them calls `remove_ref`.
///
/// The creator is the first owner. `ObjectImpl` is the ready-made implementation of the counting.
class OSTBASE_API IObject {
protected:
  // Declared first to have the first slot in the table of virtual functions. Users call
  // `remove_ref` instead.
  virtual ~IObject();

public:
  /// Makes the caller an owner.
  /// @return the number of owners, the caller included.
  virtual unsigned int add_ref() = 0;

  /// Ends the caller's ownership; the last owner's call deletes the object.
  /// @return the number of owners that are left.
  virtual unsigned int remove_ref() = 0;

  /// Returns the number of owners.
  virtual unsigned int ref_count() = 0;

  /// Asks for another interface of the object.
  ///
  /// @param interface_id    identifier of the interface.
  /// @param interface_name  its name, borrowed.
  /// @param result          receives the interface; untouched on failure.
  /// @return `RESULT_SUCCESS`, or a code of the implementation's choice.
  virtual unsigned long obtain_interface(unsigned long interface_id, char const *interface_name,
                                         void **result) = 0;

  /// Writes a short description: "{IObject ", the object's address and "}".
  /// @param stream  left in hexadecimal, and otherwise as it was.
  virtual void print(std::ostream &stream) const;
};

} // namespace Ostrel
