// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/Array.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <limits>
#include <new>
#include <utility>

namespace Ostrel {

namespace {

constexpr unsigned int FIRST_CAPACITY = 32; // elements, at the first growth of every array
constexpr std::uint64_t MAX_COUNT = std::numeric_limits<unsigned int>::max();
constexpr std::uint64_t MAX_BYTES = std::numeric_limits<std::ptrdiff_t>::max();

// The 32-bit words of the header of a flattened array.
enum Word : std::size_t { ELEMENT_SIZE, SIZE, CAPACITY, STEP_SIZE, RESERVED, WORD_COUNT };
constexpr std::size_t WORD_BYTES = 4;
constexpr std::size_t HEADER_BYTES = WORD_COUNT * WORD_BYTES;

using Header = std::array<unsigned int, WORD_COUNT>;

void write_header(Header const &header, char *buffer) {
  for (unsigned int word : header) {
    for (std::size_t i = 0; i < WORD_BYTES; ++i) {
      *buffer++ = static_cast<char>(word & 0xFFU);
      word >>= CHAR_BIT;
    }
  }
}

Header read_header(char const *buffer) {
  Header header{};
  for (std::size_t i = HEADER_BYTES; i-- > 0;) {
    unsigned int &word = header[i / WORD_BYTES];
    word = word << CHAR_BIT | static_cast<unsigned char>(buffer[i]);
  }
  return header;
}

// Either pointer may be null if `bytes` is 0.
void copy(char *to, void const *from, std::uint64_t bytes) {
  if (bytes > 0) {
    std::memcpy(to, from, static_cast<std::size_t>(bytes));
  }
}

} // namespace

Array::Array(Array const &other) : Array(other.element_size_) {
  *this = other;
}

Array &Array::operator=(Array const &other) {
  if (this != &other) {
    clear();
    element_size_ = other.element_size_;
    step_size_ = other.step_size_;
    push_back_data(other.data(), other.size_);
  }
  return *this;
}

Array::Array(Array &&other) noexcept : Array(other.element_size_) {
  *this = std::move(other);
}

Array &Array::operator=(Array &&other) noexcept {
  if (this != &other) {
    element_size_ = other.element_size_;
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    step_size_ = other.step_size_;
    data_ = std::move(other.data_);
  }
  return *this;
}

unsigned long Array::push_back_data(void const *source, unsigned int count) {
  if (count == 0) {
    return RESULT_SUCCESS;
  }
  if (source == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  if (count > capacity_ - size_) {
    unsigned long const result = expand(count);
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  copy(data_.get() + size_bytes(), source, static_cast<std::uint64_t>(count) * element_size_);
  size_ += count;
  return RESULT_SUCCESS;
}

unsigned long Array::resize(unsigned int size) {
  if (size > size_) {
    unsigned long const result = expand(size - size_);
    if (result != RESULT_SUCCESS) {
      return result;
    }
    std::uint64_t const new_bytes = static_cast<std::uint64_t>(size - size_) * element_size_;
    std::memset(data_.get() + size_bytes(), 0, static_cast<std::size_t>(new_bytes));
  }
  size_ = size;
  return RESULT_SUCCESS;
}

void Array::set_size(unsigned int size) {
  if (size <= capacity_ || expand(size - size_) == RESULT_SUCCESS) {
    size_ = size;
  }
}

unsigned long Array::set_capacity(unsigned int capacity, bool preserve_elements) {
  if (capacity == 0) {
    return RESULT_INVALID_ARGUMENT;
  }
  return move_to_block(capacity, preserve_elements ? std::min(size_, capacity) : 0);
}

unsigned long Array::remove(unsigned int index, unsigned int count) {
  if (count == 0 || index > size_ || count > size_ - index) {
    return RESULT_OUT_OF_BOUND;
  }
  std::size_t const bytes = element_size_;
  std::memmove(data_.get() + index * bytes, data_.get() + (index + count) * bytes,
               (size_ - index - count) * bytes);
  size_ -= count;
  return RESULT_SUCCESS;
}

void Array::clear() noexcept {
  data_.reset();
  size_ = 0;
  capacity_ = 0;
}

char *Array::flatten(unsigned int &length) const {
  length = 0;
  if (size_bytes() > MAX_COUNT - HEADER_BYTES) {
    return nullptr;
  }
  auto const bytes = static_cast<unsigned int>(HEADER_BYTES + size_bytes());
  Block buffer(new (std::nothrow) char[bytes]);
  if (buffer == nullptr) {
    return nullptr;
  }
  write_header({element_size_, size_, capacity_, step_size_, 0}, buffer.get());
  copy(buffer.get() + HEADER_BYTES, data(), size_bytes());
  length = bytes;
  return buffer.release();
}

unsigned long Array::unflatten(char const *buffer) {
  if (buffer == nullptr) {
    return RESULT_INVALID_ARGUMENT;
  }
  Header const header = read_header(buffer);
  clear();
  element_size_ = header[ELEMENT_SIZE];
  step_size_ = header[STEP_SIZE];
  return push_back_data(buffer + HEADER_BYTES, header[SIZE]);
}

unsigned long Array::unflatten(char const *buffer, unsigned int length) {
  if (buffer == nullptr || length < HEADER_BYTES) {
    return RESULT_INVALID_ARGUMENT;
  }
  Header const header = read_header(buffer);
  std::uint64_t const bytes = static_cast<std::uint64_t>(header[SIZE]) * element_size_;
  if (header[ELEMENT_SIZE] != element_size_ || bytes > length - HEADER_BYTES) {
    return RESULT_INVALID_ARGUMENT;
  }
  Array read(element_size_);
  read.set_step_size(header[STEP_SIZE]);
  unsigned long const result = read.push_back_data(buffer + HEADER_BYTES, header[SIZE]);
  if (result == RESULT_SUCCESS) {
    *this = std::move(read);
  }
  return result;
}

bool Array::operator==(Array const &other) const noexcept {
  return element_size_ == other.element_size_ && size_ == other.size_ &&
         (size_ == 0 ||
          std::memcmp(data(), other.data(), static_cast<std::size_t>(size_bytes())) == 0);
}

unsigned long Array::allocate(unsigned int capacity) {
  Block block;
  unsigned long const result = make_block(capacity, &block);
  if (result != RESULT_SUCCESS) {
    return result;
  }
  static_cast<void>(data_.release()); // now owned by the caller
  data_ = std::move(block);
  capacity_ = capacity;
  return RESULT_SUCCESS;
}

unsigned int Array::next_capacity(unsigned int count) const noexcept {
  std::uint64_t const capacity = grown_capacity(count);
  return capacity <= MAX_COUNT ? static_cast<unsigned int>(capacity) : 0;
}

unsigned long Array::expand(unsigned int count) {
  return move_to_block(grown_capacity(count), size_);
}

// Appends a value of a size other than the element size.
unsigned long Array::push_back_value(void const *value, unsigned int value_size) {
  if (size_ == capacity_) {
    unsigned long const result = expand(1);
    if (result != RESULT_SUCCESS) {
      return result;
    }
  }
  unsigned int const copied = std::min(value_size, element_size_);
  char *const element = data_.get() + size_bytes();
  std::memcpy(element, value, copied);
  std::memset(element + copied, 0, element_size_ - copied);
  ++size_;
  return RESULT_SUCCESS;
}

// Computed without a loop for a fixed step: a step of one element could need 4,000 million passes.
std::uint64_t Array::grown_capacity(unsigned int count) const noexcept {
  std::uint64_t const required = static_cast<std::uint64_t>(size_) + count;
  if (required <= capacity_) {
    return capacity_;
  }
  std::uint64_t capacity = capacity_ != 0 ? capacity_ : FIRST_CAPACITY;
  if (capacity < required && step_size_ != 0) {
    std::uint64_t const steps = (required - capacity + step_size_ - 1) / step_size_;
    return capacity + steps * step_size_;
  }
  while (capacity < required) {
    capacity *= 2;
  }
  return capacity;
}

unsigned long Array::make_block(std::uint64_t capacity, Block *block) const {
  if (element_size_ == 0 || capacity == 0) {
    return RESULT_FAILURE;
  }
  if (capacity > MAX_COUNT || capacity > MAX_BYTES / element_size_) {
    return RESULT_OUT_OF_MEMORY;
  }
  block->reset(new (std::nothrow) char[static_cast<std::size_t>(capacity * element_size_)]);
  return *block != nullptr ? RESULT_SUCCESS : RESULT_OUT_OF_MEMORY;
}

// Replaces the storage by a new block with copies of the first `size` elements.
unsigned long Array::move_to_block(std::uint64_t capacity, unsigned int size) {
  Block block;
  unsigned long const result = make_block(capacity, &block);
  if (result != RESULT_SUCCESS) {
    return result;
  }
  size_ = size;
  copy(block.get(), data(), size_bytes());
  data_ = std::move(block);
  capacity_ = static_cast<unsigned int>(capacity);
  return RESULT_SUCCESS;
}

// Whether `bytes` bytes starting at an element are aligned and within the storage.
bool Array::has_room_at(unsigned int index, std::size_t bytes) const noexcept {
  std::uint64_t const begin = static_cast<std::uint64_t>(index) * element_size_;
  std::uint64_t const end = static_cast<std::uint64_t>(capacity_) * element_size_;
  return begin % bytes == 0 && begin + bytes <= end;
}

template <> std::atomic<char> TypedArray<char>::_spare{'\0'};
template <> std::atomic<short> TypedArray<short>::_spare{0};
template <> std::atomic<std::int32_t> TypedArray<std::int32_t>::_spare{0};
template <> std::atomic<void *> TypedArray<void *>::_spare{nullptr};
template <> std::atomic<double> TypedArray<double>::_spare{0.0};

CharArray::CharArray(char const *text) {
  for (; text != nullptr && *text != '\0'; ++text) {
    push_back(*text);
  }
}

CharArray::CharArray(char const *bytes, int count) {
  for (int i = 0; bytes != nullptr && i < count; ++i) {
    push_back(bytes[i]);
  }
}

DoubleArray::DoubleArray(float const *elements, unsigned int count) {
  for (unsigned int i = 0; elements != nullptr && i < count; ++i) {
    push_back(static_cast<double>(elements[i]));
  }
}

} // namespace Ostrel
