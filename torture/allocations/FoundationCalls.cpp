// SPDX-License-Identifier: Apache-2.0
// Arrays, texts, counted objects and the lock of a map.
#include "core/base/foundation/AcquirableMap.hpp"
#include "core/base/foundation/Array.hpp"
#include "core/base/foundation/ObjectImpl.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/foundation/StringUtils.hpp"
#include "torture/allocations/Calls.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <vector>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;
using FailingMalloc::Strained;

Outcome grow_array() {
  DoubleArray array;
  for (unsigned int i = 0; i < 100; ++i) {
    unsigned long const result = strain([&] { return array.push_back(i); });
    if (result != RESULT_SUCCESS) {
      return by_code(result, array.size() == i);
    }
  }
  unsigned long const result = strain([&] { return array.resize(1000); });
  bool const is_kept = array[99] == 99.0 && array.size() == (result == RESULT_SUCCESS ? 1000 : 100);
  return is_kept ? by_code(result, array[999] == 0.0) : Outcome::WRONG;
}

Outcome copy_array() {
  LongArray original;
  for (int i = 0; i < 50; ++i) {
    original.push_back(i);
  }
  Strained const here;
  LongArray const copy = original;
  return all_or_nothing(copy == original, copy.size() == 0);
}

Outcome reserve_array() {
  LongArray array, assigned;
  for (int i = 0; i < 50; ++i) {
    array.push_back(i);
  }
  assigned.push_back(1);
  LongArray const before = array;
  unsigned long const reserved = strain([&] { return array.set_capacity(500, true); });
  if (array != before) {
    return Outcome::WRONG;
  }
  strain([&] { return &(assigned = array); });
  return worst({by_code(reserved, array.capacity() == 500),
                all_or_nothing(assigned == array, assigned.size() == 0)});
}

Outcome flatten_array() {
  short const numbers[] = {1, 2, 3};
  ShortArray const original(numbers, 3);
  if (original.size() != 3) {
    return Outcome::WRONG;
  }
  unsigned int length = 0;
  std::unique_ptr<char[]> const flat(strain([&] { return original.flatten(length); }));
  if (flat == nullptr) {
    return all_or_nothing(false, length == 0);
  }
  ShortArray read;
  unsigned long const result = strain([&] { return read.unflatten(flat.get(), length); });
  return by_code(result, read == original);
}

Outcome make_char_array() {
  std::string const text(100, 'x');
  Strained const here;
  CharArray const array(text.c_str());
  return all_or_nothing(array.size() == text.size(), array.size() < text.size());
}

Outcome trim_and_split() {
  std::string trimmed = "before";
  std::deque<std::string> fields(1, "before");
  strain([&] {
    StringUtils::trim("  a text that is too long to need no memory  ", ' ', &trimmed);
    StringUtils::split("a field that needs memory;another field that needs memory", ';', &fields);
    return 0;
  });
  return worst(
      {all_or_nothing(trimmed == "a text that is too long to need no memory", trimmed.empty()),
       all_or_nothing(fields.size() == 3 && fields[2] == "another field that needs memory",
                      fields.size() == 1)});
}

Outcome format_text() {
  char text[700];
  int const length =
      strain([&] { return ovra_snprintf(text, sizeof text, "%.600f %s", 0.5, "and more"); });
  bool const is_right = length == 611 && std::strcmp(text + 602, " and more") == 0;
  return all_or_nothing(is_right, length < 0);
}

class Counted : public ObjectImpl {
public:
  explicit Counted(ThreadSafety safety) : ObjectImpl(safety) {}
  bool lock_and_unlock() { return maybe_lock() && maybe_unlock(); }
};

Outcome count_references() {
  Outcome outcome = Outcome::RIGHT;
  for (auto const safety : {ObjectImpl::SAFETY_GLOBAL, ObjectImpl::SAFETY_PER_OBJECT}) {
    auto *const object = strain([safety] { return new (std::nothrow) Counted(safety); });
    if (object == nullptr) {
      return Outcome::REFUSED;
    }
    bool const is_locked = strain([object] { return object->lock_and_unlock(); });
    outcome = worst({outcome, is_locked ? Outcome::RIGHT : Outcome::REFUSED});
    if (object->add_ref() != 2 || object->remove_ref() != 1 || object->remove_ref() != 0) {
      return Outcome::WRONG;
    }
  }
  return outcome;
}

Outcome lock_map() {
  Strained const here;
  AcquirableMap<int, int> map;
  bool const is_acquired = map.acquire();
  return all_or_nothing(is_acquired && map.release(), !is_acquired && !map.is_ok());
}

} // namespace

std::vector<Call> foundation_calls() {
  return {
      {"an array grows", grow_array},
      {"an array is copied", copy_array},
      {"an array is reserved and assigned", reserve_array},
      {"an array is flattened", flatten_array},
      {"an array of characters", make_char_array},
      {"trim and split", trim_and_split},
      {"format a text", format_text},
      {"count references", count_references},
      {"lock a map", lock_map},
  };
}
