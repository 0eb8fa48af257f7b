// SPDX-License-Identifier: Apache-2.0
// The state of a file cannot be read at this moment: another file must not be used in its place.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/System.hpp"
#include "torture/support/SystemCalls.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include <sys/syscall.h>

namespace {

using namespace Ostrel;

void run_with_failed_stat(std::function<void()> const &action) {
  unsigned int count = 0;
  judge_system_calls(action, [&count](unsigned int, SystemCall const &call) {
    bool const is_stat = call.number == SYS_newfstatat || call.number == SYS_fstat;
    return Verdict{is_stat && count++ == 0 ? EIO : 0};
  });
  EXPECT_GT(count, 0U);
}

TEST(FailedStat, OfTheRegistryLeadsToNoDefault) {
  auto const contents = provide_registry("\"InstallPath\"=\"D:\\\\robot\"\n");
  unsigned long result = RESULT_SUCCESS;
  std::string text = "stale";
  run_with_failed_stat([&] { result = Platform::get_system_property(Platform::DATA_PATH, &text); });
  EXPECT_EQ(result, RESULT_SYSTEM_ERROR);
  EXPECT_EQ(text, "stale");
}

TEST(FailedStat, OfALibraryLeadsToNoneBehindIt) {
  std::string before;
  Platform::get_environment_variable("PATH", &before);
  set_variable("PATH", TEST_PLUGINS "/first");
  ISharedLibrary *const library = Platform::create_shared_library();
  library->set_name("plugin");
  library->add_search_path(TEST_PLUGINS "/second");
  run_with_failed_stat([library] { library->load(); });
  void *place = nullptr;
  EXPECT_EQ(library->get_symbol("plugin_place", &place), RESULT_SUCCESS);
  EXPECT_STREQ(static_cast<char const *>(place), "first");
  library->remove_ref();
  set_variable("PATH", before.c_str());
}

} // namespace
