// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/AcquirableLock.hpp"
#include "core/base/foundation/AcquirableMap.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace Ostrel;

namespace {

// Counts its calls and returns the configured results.
struct Recorder : IAcquirable {
  virtual ~Recorder() = default;
  bool acquire() override { return ++acquired, succeeds; }
  bool release() override { return ++released, succeeds; }
  bool is_acquired() const override { return acquired > released; }

  bool succeeds = true;
  int acquired = 0, released = 0;
};

} // namespace

TEST(Acquirable, LockCallsItsTargetOnceForEachChange) {
  struct {
    bool succeeds;
    char const *steps, *results; // of the lock: acquire or release
    int acquired, released;      // at the end of the block
  } const cases[] = {{true, "", "", 1, 1},     {true, "aa", "++", 1, 1},
                     {true, "rr", "+-", 1, 1}, {true, "rara", "++++", 3, 3},
                     {false, "", "", 1, 0},    {false, "ar", "--", 2, 0}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.succeeds ? "" : "failing ") + c.steps);
    Recorder target;
    target.succeeds = c.succeeds;
    std::string results;
    {
      AcquirableLock lock(target);
      for (char const *step = c.steps; *step != '\0'; ++step) {
        results += (*step == 'a' ? lock.acquire() : lock.release()) ? '+' : '-';
      }
    }
    EXPECT_EQ(results, c.results);
    EXPECT_EQ(target.acquired, c.acquired);
    EXPECT_EQ(target.released, c.released);
  }
  AcquirableLock nothing(nullptr);
  EXPECT_FALSE(nothing.acquire());
  EXPECT_FALSE(nothing.release());
}

TEST(Acquirable, MapIsLockedAsAWhole) {
  AcquirableMap<std::string, int> map;
  EXPECT_TRUE(map.is_ok() && !map.is_acquired());
  EXPECT_TRUE(map.acquire());
  std::map<std::string, int> const one = {{"a", 1}};
  map = one;
  EXPECT_EQ(map, one);
  map = {{"b", 2}, {"c", 3}};
  EXPECT_EQ(map.size(), 2U);
  map = std::map<std::string, int>(one);
  EXPECT_EQ(map, one);
  EXPECT_TRUE(map.is_acquired());
  EXPECT_TRUE(map.release());
  EXPECT_FALSE(map.release() || map.is_acquired());
}
