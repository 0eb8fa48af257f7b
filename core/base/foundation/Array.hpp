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

/// A growable block of elements of one size, which is chosen at run time.
///
/// A value: copies are independent. Elements are copied as raw bytes; the array does not own what
/// they point to. Not synchronised: one thread at a time. All counts are in elements. An operation
/// that needs storage returns `RESULT_OUT_OF_MEMORY` if the number of elements does not fit 32 bits
/// or the allocation fails, and `RESULT_FAILURE` if the element size is 0. After a failure the
/// array is unchanged unless the operation says otherwise. Sources and buffers must not overlap the
/// array's storage.
class OSTBASE_API Array {
public:
  /// Creates an empty array without storage. @param element_size  in bytes.
  explicit Array(unsigned int element_size) noexcept : element_size_(element_size) {}

  /// Copies the elements and the step size; the capacity is not copied. Empty if out of memory.
  Array(Array const &other);

  /// Clears the array, then does the same. Self-assignment does nothing.
  Array &operator=(Array const &other);

  /// Moves the elements and the capacity and copies the step size (addition). The other array is
  /// then empty, keeps its element size and step size, and remains usable.
  Array(Array &&other) noexcept;

  /// Frees the storage, then does the same (addition). Self-assignment does nothing.
  Array &operator=(Array &&other) noexcept;

  ~Array() = default;

  unsigned int element_size() const noexcept { return element_size_; }
  unsigned int size() const noexcept { return size_; }
  unsigned int capacity() const noexcept { return capacity_; }
  unsigned int step_size() const noexcept { return step_size_; }

  /// Returns the elements; valid until the array is next changed. Null without storage.
  void const *data() const noexcept { return data_.get(); }

  /// Sets by how many elements the capacity grows at a time; 0 doubles it. The first capacity is
  /// always 32.
  void set_step_size(unsigned int step_size) noexcept { step_size_ = step_size; }

  /// Appends copies of `count` elements.
  ///
  /// @param source  borrowed; may be null if `count` is 0.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null), or a failure to allocate as above.
  unsigned long push_back_data(void const *source, unsigned int count);

  /// Sets the size; new elements are filled with zeros. If the size grows, the elements are always
  /// moved to new storage.
  unsigned long resize(unsigned int size);

  /// Sets the size; new elements are not initialised. If growing fails, the size does not change.
  void set_size(unsigned int size);

  /// Replaces the storage by a block of exactly `capacity` elements.
  ///
  /// @param preserve_elements  true: as many elements as fit are kept; false: none.
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (capacity 0), or a failure to allocate as
  ///         above.
  unsigned long set_capacity(unsigned int capacity, bool preserve_elements);

  /// Removes `count` elements, starting at `index`; the capacity does not change.
  /// @return `RESULT_SUCCESS` or `RESULT_OUT_OF_BOUND` (also for a count of 0).
  unsigned long remove(unsigned int index, unsigned int count);

  /// Removes all elements and frees the storage.
  void clear() noexcept;

  /// Writes the array into one buffer: five 32-bit little-endian words (element size, size,
  /// capacity, step size, 0), then the bytes of the elements.
  ///
  /// @param length  receives the length in bytes; 0 on failure.
  /// @return the buffer, which the caller frees with `delete[]`; null if out of memory or if the
  ///         length does not fit 32 bits.
  char *flatten(unsigned int &length) const;

  /// Replaces the array by the one that `flatten` wrote, including its element size and step size.
  /// The capacity in the buffer is ignored.
  ///
  /// @param buffer  borrowed, of any alignment; its header and length are trusted.
  /// @return `RESULT_SUCCESS`; `RESULT_INVALID_ARGUMENT` (null), with the array unchanged; or a
  ///         failure to allocate as above, with the array empty.
  unsigned long unflatten(char const *buffer);

  /// The same for an untrusted buffer (addition), which may change during the call. Bytes after the
  /// elements are ignored. The step size is not checked: it decides how much memory later growth
  /// allocates.
  ///
  /// @return `RESULT_SUCCESS`, `RESULT_INVALID_ARGUMENT` (null, too short for the header or the
  ///         elements, or of another element size than the array), or a failure to allocate as
  ///         above.
  unsigned long unflatten(char const *buffer, unsigned int length);

  /// Compares the element sizes, the sizes and the bytes of the elements.
  bool operator==(Array const &other) const noexcept;
  bool operator!=(Array const &other) const noexcept { return !(*this == other); }

protected:
  /// Replaces the storage by a new block of `capacity` elements without copying any. The old block
  /// is handed over to the caller, to be freed with `delete[]`.
  unsigned long allocate(unsigned int capacity);

  /// Returns the capacity after growing for `count` more elements; 0 if it does not fit 32 bits.
  unsigned int next_capacity(unsigned int count) const noexcept;

  /// Moves the elements to a new block with room for `count` more. Also returns `RESULT_FAILURE` if
  /// the array has no storage and `count` is 0.
  unsigned long expand(unsigned int count);

  /// Returns the address of an element; null if the index is out of range.
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
  unsigned int size_ = 0;
  unsigned int capacity_ = 0;
  unsigned int step_size_ = 0; // 0 doubles
  Block data_;                 // capacity_ elements; null for none
};

/// The common base of the typed arrays below; not for direct use.
///
/// `unflatten` without a length can change the element size. Then a value that is appended is
/// truncated or padded with zeros, an index returns the bytes that start at its element, and the
/// range from `begin` to `end` is empty.
template <typename Element> class OSTBASE_API TypedArray : public Array {
public:
  /// Appends an element. @return `RESULT_SUCCESS`, or a failure to allocate as `Array` says.
  unsigned long push_back(Element value) {
    if (size_ == capacity_ || element_size_ != sizeof value) {
      return push_back_value(&value, sizeof value);
    }
    // Stored through the element type: for most types the compiler then knows that no field
    // changes.
    reinterpret_cast<Element *>(data_.get())[size_] = value;
    ++size_;
    return RESULT_SUCCESS;
  }

  /// Returns the elements (addition); valid until the array is next changed. Null without storage.
  Element *data() noexcept { return reinterpret_cast<Element *>(data_.get()); }
  Element const *data() const noexcept { return reinterpret_cast<Element const *>(data_.get()); }

  /// The range of the elements (addition); valid until the array is next changed.
  Element *begin() noexcept { return data(); }
  Element *end() noexcept { return data() + typed_size(); }
  Element const *begin() const noexcept { return data(); }
  Element const *end() const noexcept { return data() + typed_size(); }

  /// Returns an element to read or change. If the index is out of range, returns a spare element
  /// that all arrays of the class share: every call sets it to zero, and a value stored there is
  /// lost. Storing there while another thread indexes an array of the class is a data race. The
  /// spare is also returned if, after a change of the element size, the address is misaligned or
  /// the element would reach beyond the storage.
  Element &operator[](unsigned int index) const noexcept {
    Element &spare = zero_spare();
    char const *const element = get_element_pointer(index);
    bool const is_usable = element != nullptr && (element_size_ % sizeof(Element) == 0 ||
                                                  has_room_at(index, sizeof(Element)));
    return is_usable ? *reinterpret_cast<Element *>(const_cast<char *>(element)) : spare;
  }

protected:
  TypedArray() noexcept : Array(sizeof(Element)) {}
  TypedArray(Element const *elements, unsigned int count) : TypedArray() {
    push_back_data(elements, count);
  }

private:
  unsigned int typed_size() const noexcept { return element_size_ == sizeof(Element) ? size_ : 0; }

  // Compared by bytes, because -0.0 == 0.0. Written only if it is not zero, so that threads that
  // only read do not contend for the cache line.
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

  static std::atomic<Element> _spare; // defined in the library: one for the process
};

template <> OSTBASE_API std::atomic<char> TypedArray<char>::_spare;
template <> OSTBASE_API std::atomic<short> TypedArray<short>::_spare;
template <> OSTBASE_API std::atomic<std::int32_t> TypedArray<std::int32_t>::_spare;
template <> OSTBASE_API std::atomic<void *> TypedArray<void *>::_spare;
template <> OSTBASE_API std::atomic<double> TypedArray<double>::_spare;

/// The constructors here and below that take elements create an empty array if the pointer is null
/// or if out of memory. Those that append one by one drop only the elements that do not fit into
/// memory.
class OSTBASE_API CharArray : public TypedArray<char> {
public:
  CharArray() = default;
  /// Appends the characters of a text one by one, without the terminator.
  explicit CharArray(char const *text);
  /// Appends bytes one by one. @param count  a negative one counts as 0.
  CharArray(char const *bytes, int count);

  /// The same as `data`.
  char const *get_char_data() const noexcept { return data(); }
  char *get_char_data() noexcept { return data(); }
};

class OSTBASE_API ShortArray : public TypedArray<short> {
public:
  ShortArray() = default;
  ShortArray(short const *elements, unsigned int count) : TypedArray(elements, count) {}
};

/// Its elements have 32 bits, independent of the size of `long`.
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
  /// The same for pointers to non-const objects (addition). A template, so that a literal null
  /// pointer is not ambiguous.
  template <typename Pointer,
            std::enable_if_t<std::is_convertible_v<Pointer *, void *const *>, int> = 0>
  PointerArray(Pointer *elements, unsigned int count)
      : TypedArray(static_cast<void *const *>(elements), count) {}
};

class OSTBASE_API DoubleArray : public TypedArray<double> {
public:
  DoubleArray() = default;
  DoubleArray(double const *elements, unsigned int count) : TypedArray(elements, count) {}
  /// Appends the elements one by one.
  DoubleArray(float const *elements, unsigned int count);
};

} // namespace Ostrel
