// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>

namespace Ostrel {

/// Tells the exact class of an object: the address of its table of virtual functions, which is the
/// first word of it. Neither `typeid` nor `dynamic_cast` may look at a user's object, whose class
/// may be compiled without run-time type information. Internal to the library.
///
/// 0 is no class's. In the body of its constructor an object is exactly of the constructor's class,
/// also when it is the base of another: that is where a class learns its own mark.
using ClassMark = std::uintptr_t;

template <typename Interface> ClassMark class_mark(Interface const &object) noexcept {
  static_assert(sizeof object == sizeof(ClassMark), "the interface is that address alone");
  ClassMark mark = 0;
  std::memcpy(&mark, static_cast<void const *>(&object), sizeof mark);
  return mark;
}

} // namespace Ostrel
