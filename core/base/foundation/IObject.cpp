// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/IObject.hpp"

#include <ostream>

namespace Ostrel {

IObject::~IObject() = default;

void IObject::print(std::ostream &stream) const {
  stream << "{IObject " << std::hex << static_cast<void const *>(this) << "}";
}

} // namespace Ostrel
