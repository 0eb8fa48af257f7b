// SPDX-License-Identifier: Apache-2.0
#include "core/base/capi/ovra.h"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/FailingAllocations.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

extern "C" {
#include "tests/capi/check.h"
}

namespace {

using namespace Ostrel;

Role const settings("settings", [](Role::Arguments const &) {
  EXPECT_STREQ(check_settings(), nullptr);
  return testing::Test::HasFailure() ? 1 : 0;
});

TEST(SettingsInC, AreCommittedOnRequest) {
  TemporaryDirectory const directory;
  std::string const file = directory.path("user-config.xml");
  write_file(file, "<UserConfig/>");
  ChildResult const child =
      run_child("settings", {}, {{"OSTREL_CONFIG_PATH", directory.path().c_str()}});
  EXPECT_EQ(child.status, 0) << child.out;
  EXPECT_NE(read_file(file).find("C99!"), std::string::npos);
  EXPECT_EQ(read_file(file).find("Kept"), std::string::npos);
}

TEST(SettingsInC, LackOfMemoryIsTold) {
  constexpr char LONG[] = "a name that needs memory of its own", KEY[] = "UserConfig/Long/Key/Name";
  char text[64] = "stale";
  EXPECT_EQ(ovra_user_config__set_value(KEY, LONG, 0), RESULT_SUCCESS);
  fail_allocation(0);
  EXPECT_EQ(ovra_user_config__set_value(KEY, LONG, 0), RESULT_OUT_OF_MEMORY);
  fail_allocation(0);
  EXPECT_EQ(ovra_user_config__get_value(KEY, text, sizeof text), RESULT_OUT_OF_MEMORY);
  stop_failing();
  EXPECT_STREQ(text, "stale");
}

} // namespace
