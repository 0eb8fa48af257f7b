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
#include <type_traits>

namespace Ostrel {

/// A growable block of equally sized elements, whose size in bytes is chosen at run time.
///
/// A value: copies are independent. Elements are copied as raw bytes; what they point to is not
/// owned. Not synchronised: one thread at a time. All counts are in elements. Where a
/// number of elements does not fit 32 bits, or its memory cannot be had, the result is
/// `RESULT_OUT_OF_MEMORY`; where elements of 0 bytes would need storage, `RESULT_FAILURE`. Unless
/// something else is said, the array is then as before. Sources and buffers must not be part of the
/// array's own storage.
class OSTBASE_API Array {
public:
  /// Makes an empty array without storage. @param element_size  in bytes.
  explicit Array(unsigned int element_size) noexcept : element_size_(element_size) {}

  /// Appends the other's elements to an empty array with its step size: the capacity is not copied.
  /// Empty without memory.
  Array(Array const &other);

  /// The same, in place of what the array held. An array assigned to itself stays as it is.
  Array &operator=(Array const &other);

  /// Takes over the other's elements, capacity and step size (addition). The other is then empty,
  /// keeps its element size and step size, and works as before.
  Array(Array &&other) noexcept;

  /// The same, in place of what the array held (addition). An array assigned to itself stays as it
  /// is.
  Array &operator=(Array &&other) noexcept;

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
  /// @param source  borrowed; may be null if `count` is 0.
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

  /// The same for a buffer that comes from outside (addition), and may change meanwhile. What
  /// follows the elements is ignored. The step size, which says how much memory the array takes
  /// when it grows, is whatever the buffer says.
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

  /// Moves the elements to a new block with room for `count` more. `RESULT_FAILURE` also for an
  /// empty array and a `count` of 0.
  unsigned long expand(unsigned int count);

  /// The address of an element; null from the size on.
  char const *get_element_pointer(unsigned int index) const noexcept {
    return index < size_ ? data_.get() + static_cast<std::size_t>(index) * element_size_ : nullptr;
  }

private:
  template <typename Element> friend class TypedArray;

  using Block = std::unique_ptr<char[]>;

  std::uint64_t grown_capacity(unsigned int count) const noexcept;
  unsigned long make_block(std::uint64_t capacity, Block *block) const;
  unsigned long move_to_block(std::uint64_t capacity, unsigned int size);
  unsigned long push_back_value(void const *value, unsigned int value_size);
  bool has_room_at(unsigned int index, std::size_t bytes) const noexcept;
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
///
/// A flattened form may bring elements of another size. A value that is appended to them is cut, or
/// filled up with zeros, an index returns what begins at its element, and the range from `begin` to
/// `end` is empty.
template <typename Element> class OSTBASE_API TypedArray : public Array {
public:
  /// Appends an element. @return `RESULT_SUCCESS`, or as `Array` says.
  unsigned long push_back(Element value) {
    if (size_ == capacity_ || element_size_ != sizeof value) {
      return push_back_value(&value, sizeof value);
    }
    // Stored as an element: of most types the compiler knows it to be none of the fields beside it.
    reinterpret_cast<Element *>(data_.get())[size_] = value;
    ++size_;
    return RESULT_SUCCESS;
  }

  /// `Array::data` as elements (addition): valid until the array next changes; null while there is
  /// no storage.
  Element *data() noexcept { return reinterpret_cast<Element *>(data_.get()); }
  Element const *data() const noexcept { return reinterpret_cast<Element const *>(data_.get()); }

  /// The range of the elements (addition), valid until the array next changes.
  Element *begin() noexcept { return data(); }
  Element *end() noexcept { return data() + typed_size(); }
  Element const *begin() const noexcept { return data(); }
  Element const *end() const noexcept { return data() + typed_size(); }

  /// Returns an element to read and to change. An index out of range returns a spare element, which
  /// all arrays of the class share: every call sets it to zero, and what is stored there is lost.
  /// To store there while another thread indexes an array of the class is a data race. The spare
  /// also stands for what would not be aligned, or not lie within the storage, because the array
  /// took over elements of another size.
  Element &operator[](unsigned int index) const noexcept {
    Element &spare = zero_spare();
    char const *const element = get_element_pointer(index);
    bool const is_there = element != nullptr && (element_size_ % sizeof(Element) == 0 ||
                                                 has_room_at(index, sizeof(Element)));
    return is_there ? *reinterpret_cast<Element *>(const_cast<char *>(element)) : spare;
  }

protected:
  TypedArray() noexcept : Array(sizeof(Element)) {}
  TypedArray(Element const *elements, unsigned int count) : TypedArray() {
    push_back_data(elements, count);
  }

private:
  unsigned int typed_size() const noexcept { return element_size_ == sizeof(Element) ? size_ : 0; }

  // Compared by its bytes, as -0.0 is not zero. Written only when needed: threads that merely read
  // their arrays do not wait for each other's caches.
  static Element &zero_spare() noexcept {
    Element const stored = _spare.load(std::memory_order_relaxed);
    std::array<char, sizeof stored> bytes;
    std::memcpy(bytes.data(), &stored, sizeof stored);
    if (bytes != std::array<char, sizeof stored>{}) {
      _spare.store(Element{}, std::memory_order_relaxed);
    }
    static_assert(sizeof _spare == sizeof(Element) && std::atomic<Element>::is_always_lock_free);
    return reinterpret_cast<Element &>(_spare);
  }

  static std::atomic<Element> _spare; // the library's, one for the process
};

template <> OSTBASE_API std::atomic<char> TypedArray<char>::_spare;
template <> OSTBASE_API std::atomic<short> TypedArray<short>::_spare;
template <> OSTBASE_API std::atomic<std::int32_t> TypedArray<std::int32_t>::_spare;
template <> OSTBASE_API std::atomic<void *> TypedArray<void *>::_spare;
template <> OSTBASE_API std::atomic<double> TypedArray<double>::_spare;

/// Constructors that take elements, here and below, make an empty array of a null pointer, and when
/// there is no memory; those that say "one by one" leave out just the elements for which there is
/// none.
class OSTBASE_API CharArray : public TypedArray<char> {
public:
  CharArray() = default;
  /// Takes the characters of a terminated text one by one, without the terminator.
  explicit CharArray(char const *text);
  /// Takes bytes one by one. @param count  none when negative.
  CharArray(char const *bytes, int count);

  /// What `data` returns.
  char const *get_char_data() const noexcept { return data(); }
  char *get_char_data() noexcept { return data(); }
};

class OSTBASE_API ShortArray : public TypedArray<short> {
public:
  ShortArray() = default;
  /// Takes the elements at once.
  ShortArray(short const *elements, unsigned int count) : TypedArray(elements, count) {}
};

/// Its elements have 32 bits, whatever a `long` has.
class OSTBASE_API LongArray : public TypedArray<std::int32_t> {
public:
  LongArray() = default;
  /// Takes the elements at once.
  LongArray(std::int32_t const *elements, unsigned int count) : TypedArray(elements, count) {}
};

/// Does not own what its elements point to.
class OSTBASE_API PointerArray : public TypedArray<void *> {
public:
  PointerArray() = default;
  /// Takes the elements at once.
  PointerArray(void const **elements, unsigned int count) { push_back_data(elements, count); }
  /// The same for pointers to what may be changed (addition). A template, so that a null pointer
  /// suits the other constructor alone.
  template <typename Pointer,
            std::enable_if_t<std::is_convertible_v<Pointer *, void *const *>, int> = 0>
  PointerArray(Pointer *elements, unsigned int count)
      : TypedArray(static_cast<void *const *>(elements), count) {}
};

class OSTBASE_API DoubleArray : public TypedArray<double> {
public:
  DoubleArray() = default;
  /// Takes the elements at once.
  DoubleArray(double const *elements, unsigned int count) : TypedArray(elements, count) {}
  /// Takes the elements one by one.
  DoubleArray(float const *elements, unsigned int count);
};

} // namespace Ostrel
