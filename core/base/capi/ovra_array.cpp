// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"

#include "core/base/foundation/Array.hpp"
#include "core/base/foundation/ResultCode.hpp"

#include <memory>
#include <new>

using namespace Ostrel;

namespace {

Array *array_of(ovra_array *array) {
  return reinterpret_cast<Array *>(array);
}

Array const *array_of(ovra_array const *array) {
  return reinterpret_cast<Array const *>(array);
}

DoubleArray *doubles_of(ovra_array *array) {
  return static_cast<DoubleArray *>(array_of(array));
}

DoubleArray const *doubles_of(ovra_array const *array) {
  return static_cast<DoubleArray const *>(array_of(array));
}

// Checked here, because the spare element of the C++ class is shared by all threads.
bool has_element(ovra_array const *array, unsigned int index) {
  return array != nullptr && index < array_of(array)->size();
}

} // namespace

unsigned int ovra_array__get_size(ovra_array const *array) noexcept {
  return array == nullptr ? 0 : array_of(array)->size();
}

unsigned int ovra_array__get_capacity(ovra_array const *array) noexcept {
  return array == nullptr ? 0 : array_of(array)->capacity();
}

void const *ovra_array__get_data(ovra_array const *array) noexcept {
  return array == nullptr ? nullptr : array_of(array)->data();
}

void ovra_array__set_size(ovra_array *array, unsigned int size) noexcept {
  if (array != nullptr) {
    array_of(array)->set_size(size);
  }
}

void ovra_array__clear(ovra_array *array) noexcept {
  if (array != nullptr) {
    array_of(array)->clear();
  }
}

unsigned long ovra_array__remove(ovra_array *array, unsigned int index,
                                 unsigned int count) noexcept {
  if (array == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  return array_of(array)->remove(index, count);
}

ovra_array *ovra_doublearray__create(double const *values, unsigned int count) noexcept {
  if (values == nullptr && count != 0) {
    return nullptr;
  }
  std::unique_ptr<DoubleArray> array(new (std::nothrow) DoubleArray(values, count));
  if (array == nullptr || array->size() != count) {
    return nullptr;
  }
  return reinterpret_cast<ovra_array *>(static_cast<Array *>(array.release()));
}

void ovra_doublearray__delete(ovra_array *array) noexcept {
  delete doubles_of(array);
}

double ovra_doublearray__get(ovra_array const *array, unsigned int index) noexcept {
  return has_element(array, index) ? (*doubles_of(array))[index] : 0.0;
}

void ovra_doublearray__set(ovra_array *array, unsigned int index, double value) noexcept {
  if (has_element(array, index)) {
    (*doubles_of(array))[index] = value;
  }
}

unsigned long ovra_doublearray__push_back(ovra_array *array, double value) noexcept {
  if (array == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  return doubles_of(array)->push_back(value);
}
