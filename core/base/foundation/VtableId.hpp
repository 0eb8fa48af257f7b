// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>

namespace Ostrel {

/// Identifies the exact class of an object by the address of its virtual table, the first word of
/// the object; 0 is no class. `typeid` and `dynamic_cast` are no alternative: a user's class may be
/// compiled without run-time type information. Internal to the library.
///
/// In the body of a constructor the object has the virtual table of the constructor's class, even
/// as the base of another class: there a class records its own identifier.
using VtableId = std::uintptr_t;

template <typename Interface> VtableId vtable_id(Interface const &object) noexcept {
  static_assert(sizeof object == sizeof(VtableId), "the interface must have no data");
  VtableId id = 0;
  std::memcpy(&id, static_cast<void const *>(&object), sizeof id);
  return id;
}

} // namespace Ostrel
