// SPDX-License-Identifier: Apache-2.0
#include "core/base/testing/TestUtils.hpp"

#include "core/base/foundation/Formatting.h"
#include "core/base/logging/ClassCategory.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/Environment.hpp"
#include "core/base/platform/EnvironmentSetup.hpp"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

namespace Ostrel {

namespace {

constexpr int STANDARD_ERROR = 2; // the descriptor
constexpr char DOTS[] = "...";    // appended to every description

ClassCategory category("Ostrel.Core.Base.TestUtils");

// Returns the program's name for the report. A program that is not installed may run from a wrapper
// script, which adds a prefix to the name.
char const *program_name(char *const *argv) {
  constexpr char const *PREFIX = "lt-";
  if (argv == nullptr || argv[0] == nullptr) {
    return "";
  }
  char const *const path = argv[0];
  char const *const prefix = std::strstr(path, PREFIX);
  return prefix == nullptr ? path : prefix + std::strlen(PREFIX);
}

bool is_one_of(char const *argument, char const *name, char const *short_name) {
  return std::strcmp(argument, name) == 0 || std::strcmp(argument, short_name) == 0;
}

} // namespace

TestUtils::TestUtils(bool needs_hardware, bool auto_exit)
    : needs_hardware_(needs_hardware), auto_exit_(auto_exit) {}

TestUtils::TestUtils(int argc, char **argv, bool needs_hardware, bool auto_exit)
    : TestUtils(needs_hardware, auto_exit) {
  init_internal(argc, argv);
}

TestUtils::~TestUtils() = default;

void TestUtils::init(int argc, char **argv) {
  init_internal(argc, argv);
}

void TestUtils::describe(char const *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  ovra_vsnprintf(description_, DESCRIPTION_LIMIT, format, arguments);
  va_end(arguments);
  if (description_[0] != '\0') {
    static_assert(DESCRIPTION_LIMIT + sizeof DOTS - 1 <= DESCRIPTION_SIZE);
    std::memcpy(description_ + std::strlen(description_), DOTS, sizeof DOTS);
  }
}

bool TestUtils::check(bool is_passed) {
  ++test_count_;
  if (!is_passed) {
    ok_ = false;
    report("FAIL");
  } else if (verbose_) {
    report("ok");
  }
  if (auto_exit_ && !is_passed) {
    std::fprintf(stderr, "\n** AUTOEXIT: Error observed in Test **\a\n");
    std::exit(1);
  }
  description_[0] = '\0';
  return ok_;
}

bool TestUtils::check_line(bool is_passed, char const *file, int line) {
  if (!is_passed) {
    std::fprintf(stderr, "%s:%d: FAILURE - description on next line\n", file != nullptr ? file : "",
                 line);
  }
  return check(is_passed);
}

bool TestUtils::check_close(double a, double b, double tolerance) {
  bool const is_passed = std::fabs(a - b) < tolerance;
  bool const is_ok_so_far = check(is_passed);
  if (!is_passed) {
    std::fprintf(stderr, "\t%g != %g, differ by %g\n", a, b, b - a);
  }
  return is_ok_so_far;
}

bool TestUtils::check_equal(double a, double b) {
  bool const is_passed = a == b;
  bool const is_ok_so_far = check(is_passed);
  if (!is_passed) {
    std::fprintf(stderr, "\t%g != %g\n", a, b);
  }
  return is_ok_so_far;
}

bool TestUtils::fatal_check(bool is_passed, char const *text) {
  bool const is_ok_so_far = check(is_passed);
  if (!is_passed) {
    fatal_error(text);
  }
  return is_ok_so_far;
}

void TestUtils::fatal_error(char const *text) {
  std::fprintf(stderr, "%s. Aborting.\n", text != nullptr ? text : "Unknown internal error");
  std::fflush(stderr); // the program may have made it buffered
  std::abort();
}

void TestUtils::ignore() {
  ++test_count_;
  if (verbose_) {
    std::fprintf(stderr, "ignored (%u)\n", test_count_);
  }
}

void TestUtils::msg(char const *format, ...) const {
  if (!verbose_ || format == nullptr) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

bool TestUtils::verbose_err_code(int code) const {
  constexpr unsigned int SHOWN_BITS = 0xFFFF;
  if (verbose_ && code == 0) {
    std::fprintf(stderr, "(no error)\n");
  } else if (verbose_) {
    std::fprintf(stderr, "(err_code = %04Xh)\n", static_cast<unsigned int>(code) & SHOWN_BITS);
  }
  return code == 0;
}

bool TestUtils::is_interactive() try {
  std::string value;
  if (read_environment("OSTREL_TEST_HARDWARE", &value)) {
    return value == "yes" || value == "true";
  }
  return !read_environment("srcdir", nullptr);
} catch (std::bad_alloc const &) {
  return false;
}

int TestUtils::result() const {
  std::fprintf(stderr, "*** Finished running %u tests --- Result:  %s  ***\n", test_count_,
               ok_ ? "SUCCESS" : "FAILURE");
  return exit_status();
}

void TestUtils::exit() {
  std::exit(exit_status());
}

void TestUtils::init_internal(int argc, char **argv) {
  if (environment_setup_ != nullptr) {
    // Reused: destroying the old object would remove the variables that the new one sets.
    environment_setup_->init(argc, argv);
  } else {
    environment_setup_.reset(new (std::nothrow) EnvironmentSetup(argc, argv));
  }
  if (environment_setup_ == nullptr) {
    category().error("Could not allocate EnvironmentSetup! -- out of memory?");
  }
  init_external(argc, argv);
}

void TestUtils::init_external(int argc, char **argv) {
  std::fprintf(stderr, "\n*** %s  ***\nRunning tests...\n", program_name(argv));
  description_[0] = '\0';
  if (needs_hardware_ && !is_interactive()) {
    std::fprintf(stderr, "Hardware testing disabled. Skipping test.\n");
    std::exit(0);
  }
  read_arguments(argc, argv);
  if (verbose_) {
    verbose_stream.clear(); // earlier output failed without a descriptor
    verbose_stream.rdbuf()->set_descriptor(STANDARD_ERROR);
  }
}

void TestUtils::read_arguments(int argc, char *const *argv) {
  verbose_ = false;
  for (int i = 1; i < argc && argv != nullptr; ++i) {
    if (argv[i] == nullptr) {
      continue;
    }
    if (is_one_of(argv[i], "--verbose", "-v")) {
      verbose_ = true;
      std::fprintf(stderr, "\n-- VERBOSE ENABLED --\n");
    } else if (is_one_of(argv[i], "--quiet", "-q")) {
      verbose_ = false;
    }
  }
}

void TestUtils::report(char const *outcome) const {
  std::fprintf(stderr, "%-65s%4s\n", description_, outcome);
}

} // namespace Ostrel
