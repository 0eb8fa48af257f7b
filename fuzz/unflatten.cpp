// SPDX-License-Identifier: Apache-2.0
// A flattened array from outside is accepted unchanged or refused with the array untouched; bytes
// beyond its length are not read.
#include "core/base/foundation/Array.hpp"
#include "fuzz/support/Fuzz.hpp"

#include <algorithm>

namespace {

using namespace Ostrel;

constexpr unsigned int HEADER_BYTES = 20;
constexpr std::uint64_t FIRST_CAPACITY = 32;
constexpr std::uint64_t MOST_BYTES = 64U << 20U; // a step size may request more than this

struct Header {
  std::uint32_t element_size = 0, size = 0, capacity = 0, step_size = 0, reserved = 0;
};
static_assert(sizeof(Header) == HEADER_BYTES);

Header header_of(std::string_view flat) {
  Header header;
  std::memcpy(&header, flat.data(), std::min<std::size_t>(flat.size(), HEADER_BYTES));
  return header;
}

// The capacity to which an empty array grows.
std::uint64_t grown_capacity(Header const &header) {
  std::uint64_t const size = header.size;
  if (size <= FIRST_CAPACITY) {
    return size == 0 ? 0 : FIRST_CAPACITY;
  }
  if (header.step_size != 0) {
    std::uint64_t const missing = size - FIRST_CAPACITY;
    return FIRST_CAPACITY + (missing + header.step_size - 1) / header.step_size * header.step_size;
  }
  std::uint64_t capacity = FIRST_CAPACITY;
  while (capacity < size) {
    capacity *= 2;
  }
  return capacity;
}

unsigned long expected_result(std::string_view flat, unsigned int element_size) {
  Header const header = header_of(flat);
  if (flat.size() < HEADER_BYTES || header.element_size != element_size ||
      std::uint64_t{header.size} * element_size > flat.size() - HEADER_BYTES) {
    return RESULT_INVALID_ARGUMENT;
  }
  if (element_size == 0 && header.size > 0) {
    return RESULT_FAILURE;
  }
  return grown_capacity(header) > UINT32_MAX ? RESULT_OUT_OF_MEMORY : RESULT_SUCCESS;
}

std::string_view bytes_of(Array const &array) {
  return {static_cast<char const *>(array.data()),
          static_cast<std::size_t>(array.size()) * array.element_size()};
}

void require_taken(Array const &array, std::string_view flat) {
  Header const header = header_of(flat);
  require(array.size() == header.size, "%u elements of %u", array.size(), header.size);
  require(array.step_size() == header.step_size, "another step size");
  require(array.capacity() == grown_capacity(header), "a capacity of %u", array.capacity());
  require(bytes_of(array) == flat.substr(HEADER_BYTES, bytes_of(array).size()), "other elements");

  unsigned int length = 0;
  std::unique_ptr<char[]> const again(array.flatten(length));
  require(again != nullptr && length == HEADER_BYTES + bytes_of(array).size(), "no flat form");
  Header const written = header_of({again.get(), length});
  require(written.element_size == header.element_size && written.size == header.size &&
              written.capacity == array.capacity() && written.step_size == header.step_size &&
              written.reserved == 0,
          "another header");
  require(std::string_view(again.get() + HEADER_BYTES, length - HEADER_BYTES) == bytes_of(array),
          "other elements in the flat form");

  Array trusting(array.element_size());
  require(trusting.unflatten(again.get()) == RESULT_SUCCESS, "its own flat form is refused");
  require(trusting == array && trusting.capacity() == array.capacity(), "another array comes back");
}

void require_untouched(Array const &array, Array const &before) {
  require(array == before && array.capacity() == before.capacity() &&
              array.step_size() == before.step_size(),
          "a failure changed the array");
}

// Unflattens into an array that has elements.
template <class SomeArray> void check(SomeArray array, std::string_view flat) {
  constexpr unsigned int SIZE_BEFORE = 3;
  constexpr unsigned int STEP_BEFORE = 7;
  array.set_step_size(STEP_BEFORE);
  array.resize(SIZE_BEFORE);
  SomeArray const before(array);
  ExactCopy copy(flat);
  unsigned long const result = array.unflatten(copy.data(), static_cast<unsigned int>(flat.size()));
  unsigned long const expected = expected_result(flat, before.element_size());
  require(result == expected, "result %lu, not %lu", result, expected);
  result == RESULT_SUCCESS ? require_taken(array, flat) : require_untouched(array, before);
}

// Elements can be read and appended after any input.
template <class TypedArray> void check_typed(std::string_view flat) {
  check(TypedArray(), flat);
  TypedArray array;
  if (array.unflatten(flat.data(), static_cast<unsigned int>(flat.size())) != RESULT_SUCCESS) {
    return;
  }
  unsigned int const size = array.size();
  require(array[size] == 0, "an element behind the end");
  if (size < array.capacity() || array.step_size() <= MOST_BYTES / array.element_size() / 2) {
    require(array.push_back(array[0]) == RESULT_SUCCESS && array.size() == size + 1, "no append");
    std::string_view const bytes = bytes_of(array);
    std::size_t const bytes_each = array.element_size();
    require(bytes.substr(size * bytes_each) == bytes.substr(0, bytes_each) || size == 0,
            "another element is appended");
  }
}

} // namespace

void fuzz(Input input) {
  unsigned int const kind = input.take_number(6);
  unsigned int const element_size = input.take_number(64);
  std::string_view const flat = input.take_rest();
  Header const header = header_of(flat);
  if (grown_capacity(header) <= UINT32_MAX &&
      grown_capacity(header) * header.element_size > MOST_BYTES) {
    return;
  }
  switch (kind) {
  case 0:
    return check(Array(element_size), flat);
  case 1:
    return check_typed<CharArray>(flat);
  case 2:
    return check_typed<ShortArray>(flat);
  case 3:
    return check_typed<LongArray>(flat);
  case 4:
    return check(PointerArray(), flat);
  default:
    return check_typed<DoubleArray>(flat);
  }
}
