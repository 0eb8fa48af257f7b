// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <iosfwd>

namespace Ostrel {

/// An object with several owners, deleted when the last of them calls `remove_ref`.
///
/// The creator is the first owner. `ObjectImpl` implements the counting.
class OSTBASE_API IObject {
protected:
  // Declared first, so that it has the first slot of the virtual table. Users call `remove_ref`.
  virtual ~IObject();

public:
  /// Adds an owner.
  /// @return the new number of owners.
  virtual unsigned int add_ref() = 0;

  /// Removes an owner; deletes the object when it was the last one.
  /// @return the new number of owners.
  virtual unsigned int remove_ref() = 0;

  /// Returns the number of owners.
  virtual unsigned int ref_count() = 0;

  /// Queries the object for another interface.
  ///
  /// @param interface_id    identifier of the interface.
  /// @param interface_name  its name, borrowed.
  /// @param result          receives the interface; untouched on failure.
  /// @return `RESULT_SUCCESS`, or a code that the implementation chooses.
  virtual unsigned long obtain_interface(unsigned long interface_id, char const *interface_name,
                                         void **result) = 0;

  /// Writes a short description: "{IObject ", the object's address and "}".
  /// @param stream  left in hexadecimal mode, otherwise unchanged.
  virtual void print(std::ostream &stream) const;
};

} // namespace Ostrel
