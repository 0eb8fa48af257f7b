// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/Array.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using namespace Ostrel;

namespace {

constexpr unsigned int MAX = 0xFFFFFFFFU;
constexpr unsigned long OK = RESULT_SUCCESS, INVALID = RESULT_INVALID_ARGUMENT;
constexpr unsigned long NO_MEMORY = RESULT_OUT_OF_MEMORY, BOUND = RESULT_OUT_OF_BOUND;

std::string text_of(CharArray const &array) {
  return array.size() == 0 ? "" : std::string(array.get_char_data(), array.size());
}

// Empty if the array could not be flattened.
std::string flattened(Array const &array) {
  unsigned int length = MAX;
  std::unique_ptr<char[]> const buffer(array.flatten(length));
  EXPECT_EQ(buffer == nullptr, length == 0);
  return std::string(buffer.get(), length);
}

// A flattened array with a header of two-byte numbers.
std::string flat(unsigned int element_size, unsigned int size, unsigned int capacity,
                 unsigned int step_size, std::string const &elements) {
  std::string text;
  for (unsigned int word : {element_size, size, capacity, step_size, 0U}) {
    text += {static_cast<char>(word & 0xFF), static_cast<char>(word >> 8), '\0', '\0'};
  }
  return text + elements;
}

unsigned long move_by_growth(CharArray &array) {
  void const *const before = array.data();
  unsigned long const result = array.resize(array.size() + 1);
  return result == OK && array.data() == before ? BOUND : result;
}

unsigned long set_size_and_back(CharArray &array) {
  array.set_size(64);
  return array.size() == 64 ? array.resize(3) : NO_MEMORY;
}

} // namespace

struct OwnStorage : Array {
  using Array::allocate;
  using Array::Array;
};

TEST(Array, AllocateHandsTheOldBlockToTheCaller) {
  OwnStorage array(2);
  EXPECT_EQ(array.allocate(0), RESULT_FAILURE);
  EXPECT_EQ(array.push_back_data("abcd", 2), OK);
  std::unique_ptr<char const[]> const old(static_cast<char const *>(array.data()));
  EXPECT_EQ(array.allocate(2), OK);
  EXPECT_EQ(array.capacity(), 2U);
  EXPECT_EQ(array.size(), 2U);
  EXPECT_NE(array.data(), old.get());
  EXPECT_EQ(std::memcmp(old.get(), "abcd", 4), 0);
}

TEST(Array, GrowsByThePolicy) {
  struct Growing : Array {
    using Array::Array, Array::next_capacity;
  };
  struct {
    unsigned int capacity, step_size, size, count, next; // next is 0 if it does not fit
  } const cases[] = {{0, 0, 0, 0, 0},     {0, 0, 0, 1, 32},     {0, 10, 0, 1, 32},
                     {0, 10, 0, 43, 52},  {0, 0, 0, 65, 128},   {5, 0, 5, 16, 40},
                     {5, 3, 5, 4, 11},    {5, 3, 2, 3, 5},      {0, 0, 0, MAX, 0},
                     {0, 1, 0, MAX, MAX}, {5, 1, 1, MAX, 0},    {0, MAX - 32, 0, 33, MAX},
                     {0, MAX, 0, 33, 0},  {64, 10, 64, 21, 94}, {32, 9, 31, 1, 32}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::to_string(c.capacity) + ", " + std::to_string(c.count) + " more");
    Growing array(1);
    array.set_step_size(c.step_size);
    array.set_capacity(c.capacity, false);
    array.set_size(c.size);
    EXPECT_EQ(array.next_capacity(c.count), c.next);
  }
  CharArray filled("abc");
  void const *const storage = filled.data();
  EXPECT_EQ(filled.push_back_data(std::string(29, 'x').c_str(), 29), OK);
  EXPECT_EQ(filled.data(), storage) << "moved within the capacity";
}

// Each operation runs on "abc".
TEST(Array, OperationsSucceedOrChangeNothing) {
  using A = CharArray &;
  static std::string const form = flat(1, 3, 0, 9, "xyz"), shorts = flat(2, 1, 0, 0, "xyz");
  struct {
    char const *name;
    unsigned long (*work)(A);
    unsigned long result;
    unsigned int capacity;
    std::string elements;
  } const cases[] = {
      {"append", [](A a) { return a.push_back_data("de", 2); }, OK, 32, "abcde"},
      {"append one", [](A a) { return a.push_back('d'); }, OK, 32, "abcd"},
      {"append 0", [](A a) { return a.push_back_data(nullptr, 0); }, OK, 32, "abc"},
      {"append null", [](A a) { return a.push_back_data(nullptr, 1); }, INVALID, 32, "abc"},
      {"append all", [](A a) { return a.push_back_data("x", MAX); }, NO_MEMORY, 32, "abc"},
      {"grow", [](A a) { return a.resize(5); }, OK, 32, {"abc\0\0", 5}},
      {"grow more", [](A a) { return a.resize(40); }, OK, 64, "abc" + std::string(37, '\0')},
      {"grow and move", [](A a) { return move_by_growth(a); }, OK, 32, {"abc\0", 4}},
      {"grow far", [](A a) { return a.resize(MAX); }, NO_MEMORY, 32, "abc"},
      {"shrink", [](A a) { return a.resize(1); }, OK, 32, "a"},
      {"set size", [](A a) { return a.resize(1), a.set_size(3), OK; }, OK, 32, "abc"},
      {"set size to 64", [](A a) { return set_size_and_back(a); }, OK, 64, "abc"},
      {"set size far", [](A a) { return a.set_size(MAX), OK; }, OK, 32, "abc"},
      {"truncate", [](A a) { return a.set_capacity(2, true); }, OK, 2, "ab"},
      {"reserve", [](A a) { return a.set_capacity(99, true); }, OK, 99, "abc"},
      {"renew", [](A a) { return a.set_capacity(2, false); }, OK, 2, ""},
      {"capacity 0", [](A a) { return a.set_capacity(0, true); }, INVALID, 32, "abc"},
      {"clear", [](A a) { return a.clear(), OK; }, OK, 0, ""},
      {"remove", [](A a) { return a.remove(0, 2); }, OK, 32, "c"},
      {"remove all", [](A a) { return a.remove(0, 3); }, OK, 32, ""},
      {"remove 0", [](A a) { return a.remove(1, 0); }, BOUND, 32, "abc"},
      {"remove behind", [](A a) { return a.remove(4, 1); }, BOUND, 32, "abc"},
      {"remove far", [](A a) { return a.remove(2, MAX); }, BOUND, 32, "abc"},
      {"flatten", [](A a) { return flattened(a).empty() ? NO_MEMORY : OK; }, OK, 32, "abc"},
      {"unflatten", [](A a) { return a.unflatten(form.data(), 23); }, OK, 32, "xyz"},
      {"unflatten a part", [](A a) { return a.unflatten(form.data(), 22); }, INVALID, 32, "abc"},
      {"unflatten no header", [](A a) { return a.unflatten(form.data(), 19); }, INVALID, 32, "abc"},
      {"unflatten shorts", [](A a) { return a.unflatten(shorts.data(), 23); }, INVALID, 32, "abc"},
      {"unflatten null", [](A a) { return a.unflatten(nullptr); }, INVALID, 32, "abc"},
      {"unflatten null to 20", [](A a) { return a.unflatten(nullptr, 20); }, INVALID, 32, "abc"},
      {"assign itself", [](A a) { return a = static_cast<A>(a), OK; }, OK, 32, "abc"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.name);
    CharArray array("abc");
    EXPECT_EQ(c.work(array), c.result);
    EXPECT_EQ(array.capacity(), c.capacity);
    EXPECT_EQ(array.data() == nullptr, c.capacity == 0);
    EXPECT_EQ(text_of(array), c.elements);
    EXPECT_EQ(array.step_size(), c.elements == "xyz" ? 9U : 0U);
  }
}

TEST(Array, UnflattenRestoresTheArray) {
  ShortArray array;
  array.set_step_size(300);
  EXPECT_EQ(flattened(array), flat(2, 0, 0, 300, ""));
  for (short i = 0; i < 100; ++i) {
    array.push_back(i);
  }
  EXPECT_EQ(array.capacity(), 332U);
  array.set_capacity(1000, true);
  std::string const buffer = " " + flattened(array); // so that no word is aligned
  ASSERT_EQ(buffer.substr(1, 20), flat(2, 100, 1000, 300, ""));
  CharArray trusted;
  EXPECT_EQ(trusted.unflatten(&buffer[1]), OK);
  EXPECT_TRUE(trusted == array && !(trusted != array));
  EXPECT_EQ(trusted.capacity(), 332U);
  ShortArray const copy(array);
  EXPECT_EQ(flattened(copy), flattened(trusted));
  EXPECT_EQ(copy[99], 99);
  CharArray assigned("abc");
  Array &base = assigned;
  base = array;
  EXPECT_EQ(flattened(assigned), flattened(trusted));
  EXPECT_EQ(trusted.unflatten(flat(0, 1, 0, 7, "").c_str()), RESULT_FAILURE);
  EXPECT_EQ(flattened(trusted), flat(0, 0, 0, 7, ""));
}

TEST(Array, MoveLeavesAnEmptyArray) {
  static_assert(std::is_nothrow_move_constructible_v<CharArray> &&
                std::is_nothrow_move_assignable_v<CharArray>);
  short const numbers[] = {1, 2, 3};
  std::string const form = flat(2, 3, 32, 5, {"\1\0\2\0\3\0", 6});
  std::vector<ShortArray> arrays = {ShortArray(numbers, 3), ShortArray(numbers, 1),
                                    ShortArray(numbers, 1)};
  arrays[0].set_step_size(5);
  void const *const storage = arrays[0].data();
  arrays[1] = std::move(arrays[0]);
  ShortArray made(std::move(arrays[1]));
  EXPECT_EQ(flattened(made), form);
  ShortArray &last = arrays[2];
  last = std::move(made);
  last = std::move(arrays[2]);
  EXPECT_EQ(flattened(last), form);
  EXPECT_EQ(last.data(), storage);
  for (ShortArray *const left : {&arrays[0], &arrays[1]}) {
    EXPECT_EQ(flattened(*left), flat(2, 0, 0, 5, ""));
    EXPECT_EQ(left->data(), nullptr);
    EXPECT_EQ(left->push_back(7), OK);
    EXPECT_EQ(flattened(*left), flat(2, 1, 32, 5, {"\7\0", 2}));
  }
}

TEST(Array, IteratesOverItsElements) {
  double const numbers[] = {1.5, -2, 7};
  DoubleArray doubles(numbers, 3);
  for (double &number : doubles) {
    number += 1;
  }
  *doubles.data() = 9;
  DoubleArray const &same = doubles;
  EXPECT_EQ(same.data(), doubles.begin());
  EXPECT_EQ(std::vector<double>(same.begin(), same.end()), (std::vector<double>{9, -1, 8}));
  EXPECT_EQ(doubles.unflatten(flat(1, 3, 0, 0, "xyz").c_str()), OK);
  EXPECT_EQ(doubles.end(), doubles.begin()) << "whose elements are no numbers";
  EXPECT_EQ(same.end(), same.begin());
  EXPECT_EQ(CharArray().end(), nullptr);
}

TEST(Array, ComparesSizesAndBytes) {
  double const zero = 0.0, minus_zero = -0.0;
  EXPECT_TRUE(CharArray("abc") == CharArray("abc", 3) && CharArray("abc") != CharArray("abd"));
  EXPECT_TRUE(CharArray("abc") != CharArray("ab") && CharArray() != ShortArray());
  EXPECT_FALSE(DoubleArray(&zero, 1) == DoubleArray(&minus_zero, 1));
}

TEST(Array, TypedAccessStaysInBounds) {
  float const numbers[] = {1.5F, -2};
  DoubleArray doubles(numbers, 2);
  doubles[1] += 1;
  EXPECT_EQ(doubles[0], 1.5);
  EXPECT_EQ(doubles[1], -1);
  doubles[2] = -0.0;
  EXPECT_FALSE(std::signbit(doubles[2]) || std::signbit(doubles[MAX]));
  EXPECT_EQ(DoubleArray()[0], 0);
  void const *pointers[] = {numbers, nullptr};
  void *const changeable[] = {nullptr, &doubles};
  EXPECT_EQ(PointerArray(pointers, 2)[0], numbers);
  EXPECT_EQ(PointerArray(changeable, 2)[1], &doubles);
  EXPECT_EQ(PointerArray(nullptr, 2).size(), 0U);
  std::int32_t const longs[] = {-1, 7};
  EXPECT_EQ(LongArray(longs, 2)[1], 7);
  EXPECT_EQ(text_of(CharArray("a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(CharArray("abc", -1).size(), 0U);
  EXPECT_EQ(CharArray(nullptr).size(), 0U);
  // A flattened array can change the element size.
  EXPECT_EQ(doubles.unflatten(flat(1, 32, 0, 0, std::string(32, 'x')).c_str()), OK);
  EXPECT_EQ(doubles[31], 0);
  EXPECT_EQ(doubles[9], 0);
  double eight_bytes = 0;
  std::memcpy(&eight_bytes, "xxxxxxxx", sizeof eight_bytes);
  EXPECT_EQ(doubles[8], eight_bytes);
  EXPECT_EQ(doubles.push_back(1), OK);
  CharArray wide;
  EXPECT_EQ(wide.unflatten(flat(3, 1, 0, 0, "xyz").c_str()), OK);
  EXPECT_EQ(wide.push_back('a'), OK);
  EXPECT_EQ(wide[1], 'a');
  EXPECT_EQ(flattened(wide), flat(3, 2, 32, 0, {"xyza\0\0", 6}));
  Array no_bytes(0);
  EXPECT_EQ(no_bytes.push_back_data("", 1), RESULT_FAILURE);
  EXPECT_EQ(no_bytes.set_capacity(1, true), RESULT_FAILURE);
}
