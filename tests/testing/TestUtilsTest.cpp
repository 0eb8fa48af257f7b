// SPDX-License-Identifier: Apache-2.0
#include "core/base/testing/TestUtils.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace Ostrel;

std::string const BANNER = "\n*** t  ***\nRunning tests...\n",
                  FAIL = std::string(65, ' ') + "FAIL\n";

// Ends the program in one of several ways, chosen by number.
Role const end("end", [](Role::Arguments const &arguments) {
  static char buffer[BUFSIZ]; // accepted by the C library even after output
  void (*const ways[])(TestUtils &) = {
      [](TestUtils &) {},
      [](TestUtils &t) { t.exit(); },
      [](TestUtils &t) { t.check(false), t.exit(); },
      [](TestUtils &t) { t.set_autoexit(true), t.check_close(1, 2, 1); },
      [](TestUtils &t) { t.set_autoexit(true), t.fatal_check(false, "x"); },
      [](TestUtils &t) { t.fatal_check(false, "No %s"); },
      [](TestUtils &t) { std::setvbuf(stderr, buffer, _IOFBF, BUFSIZ), t.fatal_error(nullptr); },
  };
  char name[] = "/build/.libs/lt-t", *argv[] = {name, nullptr};
  TestUtils test(1, argv, /*needs_hardware=*/true, /*auto_exit=*/false);
  ways[std::stoi(arguments[0])](test);
  return 3;
});

TEST(TestUtils, EndsTheProgram) {
  std::string const skipped = "Hardware testing disabled. Skipping test.\n";
  std::string const auto_exit = FAIL + "\n** AUTOEXIT: Error observed in Test **\a\n";
  struct {
    char const *hardware, *srcdir;
    int way, status;
    std::string report;
  } const cases[] = {{"yes", "s", 0, 3, ""},
                     {"true", nullptr, 0, 3, ""},
                     {"TRUE", nullptr, 0, 0, skipped},
                     {"1", nullptr, 0, 0, skipped},
                     {"", nullptr, 0, 0, skipped},
                     {nullptr, nullptr, 0, 3, ""},
                     {nullptr, "", 0, 0, skipped},
                     {"yes", "s", 1, 0, ""},
                     {"yes", "s", 2, 1, FAIL},
                     {"yes", "s", 3, 1, auto_exit},
                     {"yes", "s", 4, 1, auto_exit},
                     {"yes", "s", 5, ABORTED, FAIL + "No %s. Aborting.\n"},
                     {"yes", "s", 6, ABORTED, "Unknown internal error. Aborting.\n"}};
  for (auto const &c : cases) {
    SCOPED_TRACE(&c - cases);
    ChildResult const result =
        run_child("end", {std::to_string(c.way)},
                  {{"OSTREL_TEST_HARDWARE", c.hardware}, {"srcdir", c.srcdir}});
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.err, BANNER + c.report);
  }
}

TEST(TestUtils, ReportsFailuresAndInVerboseModeTheRest) {
  testing::internal::CaptureStderr();
  TestUtils test(/*needs_hardware=*/false, /*auto_exit=*/false);
  test.ignore(), test.msg("x");
  EXPECT_TRUE(test.check(true) && test.check_equal(-0.0, 0.0) && test.check_close(1, 1.25, 0.5));
  EXPECT_TRUE(test.check_line(true, "a", 1) && test.fatal_check(true, "x") && test.result() == 0);
  EXPECT_TRUE(test.verbose_err_code(0) && !test.verbose_err_code(1) && test.is_ok());
  EXPECT_FALSE(test.check_line(false, "a.cpp", 12) || test.check_line(false, nullptr, -1));
  EXPECT_FALSE(test.check_close(1, 1.5, 0.5) || test.check_close(1, NAN, INFINITY) ||
               test.check_equal(INFINITY, NAN) || test.check(true) || test.is_ok());
  EXPECT_FALSE(test.autoexit_selected() || test.verbose_enabled());
  test.enable_verbose();
  EXPECT_TRUE(test.verbose_enabled());
  test.describe("Checking %s", "sum");
  test.ignore(), test.check(true), test.msg("%d%%", 5), test.msg(nullptr), test.check(true);
  EXPECT_TRUE(test.verbose_err_code(0) && !test.verbose_err_code(0x10A4B) && test.result() == 1);
  std::string const at = ": FAILURE - description on next line\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "*** Finished running 6 tests --- Result:  SUCCESS  ***\na.cpp:12" + at + FAIL + ":-1" +
                at + FAIL + FAIL + "\t1 != 1.5, differ by 0.5\n" + FAIL +
                "\t1 != nan, differ by nan\n" + FAIL +
                "\tinf != nan\nignored (13)\nChecking sum..." + std::string(50, ' ') + "  ok\n5%" +
                std::string(67, ' ') + "ok\n(no error)\n(err_code = 0A4Bh)\n" +
                "*** Finished running 15 tests --- Result:  FAILURE  ***\n");
  test.disable_verbose();
  EXPECT_FALSE(test.verbose_enabled());
}

TEST(TestUtils, DescriptionsFillTheirColumns) {
  TestUtils test(/*needs_hardware=*/false, /*auto_exit=*/false);
  for (std::size_t const size : {0U, 1U, 61U, 62U, 63U, 2044U, 2045U, 5000U}) {
    testing::internal::CaptureStderr();
    size == 0 ? test.describe(nullptr) : test.describe("%s", std::string(size, 'x').c_str());
    test.check(false);
    std::string text = size == 0 ? "" : std::string(std::min<std::size_t>(size, 2044), 'x') + "...";
    text.resize(std::max<std::size_t>(65, text.size()), ' ');
    EXPECT_EQ(testing::internal::GetCapturedStderr(), text + "FAIL\n");
  }
}

TEST(TestUtils, ReadsTheCommandLine) {
  std::string const verbose = "\n-- VERBOSE ENABLED --\n";
  struct {
    std::vector<char const *> options;
    std::string report;
  } const cases[] = {{{}, ""},
                     {{"-v", "-q"}, verbose},
                     {{"-q", "--verbose", "-x", "-v"}, verbose + verbose + "told"},
                     {{"-v", "--quiet", "verbose", "-V", "--", nullptr, "-verbose", ""}, verbose}};
  for (auto const &c : cases) {
    testing::internal::CaptureStderr();
    TestUtils test(/*needs_hardware=*/false, /*auto_exit=*/false);
    test.verbose_stream << "lost";
    test.enable_verbose();
    test.describe("Forgotten at the start");
    std::vector<char const *> argv = {"t"};
    argv.insert(argv.end(), c.options.begin(), c.options.end());
    test.init(static_cast<int>(argv.size()), const_cast<char **>(argv.data()));
    test.verbose_stream << "told";
    test.check(false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), BANNER + c.report + FAIL);
  }
}

TEST(TestUtils, SetsUpTheEnvironment) {
  char core[] = "ostrel-core/t", *argv[] = {core};
  set_variable("OSTREL_CONFIG_PATH", "V");
  std::string path;
  testing::internal::CaptureStderr();
  {
    TestUtils test(/*needs_hardware=*/false, /*auto_exit=*/false);
    test.init(1, argv);
    test.init(1, argv);
    EXPECT_TRUE(Platform::get_environment_variable("OSTREL_CONFIG_PATH", &path));
  }
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(path.find("V;"), 0U);
  EXPECT_NE(path.rfind(';'), 1U); // two directories: `init` succeeded twice
  EXPECT_FALSE(Platform::get_environment_variable("OSTREL_CONFIG_PATH", nullptr));
}

} // namespace
