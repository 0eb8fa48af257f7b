// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/foundation/ResultCode.hpp"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace Ostrel {

/// A growable block of equally sized elements, whose size in bytes is chosen at run time.
///
/// A value: copies are independent. Elements are copied as raw bytes, and what they point to is
/// somebody else's. Not synchronised: one thread at a time. All counts are in elements. Where a
/// number of elements does not fit 32 bits, or its memory cannot be had, the result is
/// `RESULT_OUT_OF_MEMORY`; where elements of 0 bytes would need storage, `RESULT_FAILURE`. Unless
/// something else is said, the array is then as before.
class OSTBASE_API Array {
public:
  /// Makes an empty array without storage. @param element_size  in bytes.
  explicit Array(unsigned int element_size) noexcept : element_size_(element_size) {}

  /// Appends the other's elements to an empty array with its step size: the capacity is not copied.
  /// Empty without memory.
  Array(Array const &other);

  /// The same, in place of what the array held. An array assigned to itself stays as it is.
  Array &operator=(Array const &other);

  ~Array() = default;

  unsigned int element_size() const noexcept { return element_size_; }
  unsigned int size() const noexcept { return size_; }
  unsigned int capacity() const noexcept { return capacity_; }
  unsigned int step_size() const noexcept { return step_size_; }

  /// The elements, until the array next changes; null while there is no storage.
  void const *data() const noexcept { return data_.get(); }

  /// Sets by how many elements a capacity grows at a time; 0 doubles it. The first is always 32.
  void set_step_size(unsigned int step_size) noexcept { step_size_ = step_size; }

  /// Appends copies of `count` elements.
  ///
  /// @param source  borrowed, and no part of this array; may be null if `count` is 0.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null), or as the class says.
  unsigned long push_back_data(void const *source, unsigned int count);

  /// Sets the size; new elements are filled with zeros. Growth moves the elements in any case.
  unsigned long resize(unsigned int size);

  /// Sets the size; new elements are what the storage holds. Growth that fails leaves the size.
  void set_size(unsigned int size);

  /// Replaces the storage by one of exactly that many elements.
  ///
  /// @param preserve_elements  true: as many elements as fit are kept; false: none.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (capacity 0), or as the class says.
  unsigned long set_capacity(unsigned int capacity, bool preserve_elements);

  /// Removes `count` elements from `index` on; the storage stays.
  /// @return `RESULT_SUCCESS` or `RESULT_OUT_OF_BOUND` (also for a count of 0).
  unsigned long remove(unsigned int index, unsigned int count);

  /// Releases the storage.
  void clear() noexcept;

  /// Writes the array into one buffer: five 32-bit little-endian words (element size, size,
  /// capacity, step size, 0), then the elements as they are.
  ///
  /// @param length  receives the length in bytes; 0 on failure.
  /// @return the buffer, which the caller releases with `delete[]`; null without memory, and when
  ///         the length does not fit 32 bits.
  char *flatten(unsigned int &length) const;

  /// Replaces the array by what `flatten` wrote, with the element size and the step size from
  /// there. The capacity grows as ever.
  ///
  /// @param buffer  trusted to be complete, with any alignment; borrowed.
  /// @return `RESULT_SUCCESS`; `RESULT_INVALID_ARGUMENT` (null), with the array unchanged; or as
  ///         the class says, with the array empty.
  unsigned long unflatten(char const *buffer);

  /// The same for a buffer that comes from outside (addition). What follows the elements is
  /// ignored.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null, shorter than its header or its
  ///         elements, or another element size than the array's), or as the class says.
  unsigned long unflatten(char const *buffer, unsigned int length);

  /// Whether element sizes, sizes and all bytes of the elements are the same.
  bool operator==(Array const &other) const noexcept;
  bool operator!=(Array const &other) const noexcept { return !(*this == other); }

protected:
  /// Takes a new block of that many elements as storage. The elements are not copied, and the old
  /// block is the caller's, who releases it with `delete[]`.
  unsigned long allocate(unsigned int capacity);

  /// The capacity that room for `count` more elements takes; 0 when it does not fit 32 bits.
  unsigned int next_capacity(unsigned int count) const noexcept;

  /// Moves the elements to a new block with room for `count` more. `RESULT_FAILURE` also when that
  /// is none.
  unsigned long expand(unsigned int count);

  /// The address of an element; null from the size on.
  char const *get_element_pointer(unsigned int index) const noexcept {
    return index < size_ ? data_.get() + static_cast<std::size_t>(index) * element_size_ : nullptr;
  }

  /// Appends one element whose value has another size: cut, or filled up with zeros.
  unsigned long push_back_value(void const *value, unsigned int value_size);

private:
  template <typename Element> friend class TypedArray;

  using Block = std::unique_ptr<char[]>;

  std::uint64_t grown_capacity(unsigned int count) const noexcept;
  unsigned long make_block(std::uint64_t capacity, Block *block) const;
  std::uint64_t size_bytes() const noexcept {
    return static_cast<std::uint64_t>(size_) * element_size_;
  }

  unsigned int element_size_; // in bytes
  unsigned int size_ = 0;     // at most capacity_
  unsigned int capacity_ = 0;
  unsigned int step_size_ = 0; // 0 doubles
  Block data_;                 // capacity_ elements; null for none
};

/// What arrays of one type of element share. Not meant to be named by users.
template <typename Element> class OSTBASE_API TypedArray : public Array {
public:
  unsigned long push_back(Element value) {
    if (size_ == capacity_ || element_size_ != sizeof value) {
      return push_back_value(&value, sizeof value);
    }
    // Stored as an element, which the compiler knows to be none of the fields beside it.
    reinterpret_cast<Element *>(data_.get())[size_] = value;
    ++size_;
    return RESULT_SUCCESS;
  }

  /// Gives an element to read and to change. An index out of range gives a spare element, which all
  /// arrays of the class share: every call sets it to zero, and what is stored there is lost. So
  /// does an array that took over elements that are no multiples of the class's.
  Element &operator[](unsigned int index) const noexcept {
    Element &spare = zero_spare();
    if (index >= size_ || element_size_ % sizeof(Element) != 0) {
      return spare;
    }
    char *const element = data_.get() + static_cast<std::size_t>(index) * element_size_;
    return *reinterpret_cast<Element *>(element);
  }

protected:
  TypedArray() noexcept : Array(sizeof(Element)) {}
  TypedArray(Element const *elements, unsigned int count) : TypedArray() {
    push_back_data(elements, count);
  }

private:
  // Compared by its bytes, as -0.0 is not zero. Written only when needed: threads that merely read
  // their arrays do not wait for each other's caches.
  static Element &zero_spare() noexcept {
    Element const stored = _spare.load(std::memory_order_relaxed);
    std::array<char, sizeof stored> bytes;
    std::memcpy(bytes.data(), &stored, sizeof stored);
    if (bytes != std::array<char, sizeof stored>{}) {
      _spare.store(Element{}, std::memory_order_relaxed);
    }
    return reinterpret_cast<Element &>(_spare);
  }

  static std::atomic<Element> _spare; // the library's, one for the process
};

template <> OSTBASE_API std::atomic<char> TypedArray<char>::_spare;
template <> OSTBASE_API std::atomic<short> TypedArray<short>::_spare;
template <> OSTBASE_API std::atomic<std::int32_t> TypedArray<std::int32_t>::_spare;
template <> OSTBASE_API std::atomic<void *> TypedArray<void *>::_spare;
template <> OSTBASE_API std::atomic<double> TypedArray<double>::_spare;

// Constructors that take elements make an empty array of a null pointer, and when there is no
// memory; those that say "one by one" leave out just the elements for which there is none.

class OSTBASE_API CharArray : public TypedArray<char> {
public:
  CharArray() = default;
  /// Takes the characters of a terminated text one by one, without the terminator.
  explicit CharArray(char const *text);
  /// Takes bytes one by one. @param count  none when negative.
  CharArray(char const *bytes, int count);

  /// What `data` gives.
  char const *get_char_data() const noexcept { return static_cast<char const *>(data()); }
  char *get_char_data() noexcept;
};

class OSTBASE_API ShortArray : public TypedArray<short> {
public:
  ShortArray() = default;
  ShortArray(short const *elements, unsigned int count) : TypedArray(elements, count) {}
};

/// Its elements have 32 bits, whatever a `long` has.
class OSTBASE_API LongArray : public TypedArray<std::int32_t> {
public:
  LongArray() = default;
  LongArray(std::int32_t const *elements, unsigned int count) : TypedArray(elements, count) {}
};

/// Does not own what its elements point to.
class OSTBASE_API PointerArray : public TypedArray<void *> {
public:
  PointerArray() = default;
  PointerArray(void const **elements, unsigned int count) { push_back_data(elements, count); }
};

class OSTBASE_API DoubleArray : public TypedArray<double> {
public:
  DoubleArray() = default;
  DoubleArray(double const *elements, unsigned int count) : TypedArray(elements, count) {}
  /// Takes the elements one by one.
  DoubleArray(float const *elements, unsigned int count);
};

} // namespace Ostrel
