// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

extern "C" {
#include "tests/capi/check.h"
}

namespace {

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

} // namespace
