// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/testing/fdostream.hpp"

#include <memory>

namespace Ostrel {

class EnvironmentSetup;

/// A small harness for test programs: describe a check, report its outcome, and give `result()` as
/// the program's exit status.
///
///     int main(int argc, char **argv) {
///       Ostrel::TestUtils test(argc, argv, /*needs_hardware=*/false, /*auto_exit=*/false);
///       test.describe("Adding %d and %d", 1, 2);
///       test.check(1 + 2 == 3);
///       return test.result();
///     }
///
/// The report goes to standard error: failed checks always, passed ones in verbose mode alone
/// ("--verbose" or "-v" on the command line). For one thread, the program's main one. Texts are
/// borrowed for the call.
class OSTBASE_API TestUtils {
public:
  /// Looks at no command line until `init`.
  ///
  /// @param needs_hardware  true: `init` ends the program with status 0 unless `is_interactive()`.
  /// @param auto_exit       true: the first failed check ends the program with status 1.
  TestUtils(bool needs_hardware, bool auto_exit);
  /// The same, and `init`.
  TestUtils(int argc, char **argv, bool needs_hardware, bool auto_exit);
  TestUtils(TestUtils const &) = delete;
  TestUtils &operator=(TestUtils const &) = delete;

  /// Removes the variables that `EnvironmentSetup` sets. Prints nothing.
  virtual ~TestUtils();

  /// Sets the environment up, prints the banner and reads the command line. A null `argv`, or a
  /// null in it, is skipped.
  void init(int argc, char **argv);

  /// Sets the text of the next check, printf-style, of which 2044 characters are kept. Null is the
  /// empty text.
  void describe(char const *format, ...) OSTBASE_PRINTF(2, 3);

  /// Counts a check, reports it under its description and clears that.
  /// @return whether all checks until now have passed, as do the checks below.
  bool check(bool is_passed);

  /// Names the line of the source first when the check fails. A null file is an empty name.
  bool check_line(bool is_passed, char const *file, int line);

  /// Passes when the values differ by less than the tolerance; never with a NaN.
  bool check_close(double a, double b, double tolerance);

  /// Passes when the values are equal; never with a NaN.
  bool check_equal(double a, double b);

  /// Aborts the program with `fatal_error` when the check fails.
  bool fatal_check(bool is_passed, char const *text);

  /// Prints the text, or that the error is unknown when it is null, and aborts the program.
  [[noreturn]] void fatal_error(char const *text);

  /// Counts a check that is not made.
  void ignore();

  /// Prints a message, printf-style and as it is, in verbose mode. Null prints nothing.
  void msg(char const *format, ...) const OSTBASE_PRINTF(2, 3);

  /// Prints an error code, of which the low 16 bits, in verbose mode.
  /// @return whether it is 0.
  bool verbose_err_code(int code) const;

  /// Whether tests may use the hardware: `OSTREL_TEST_HARDWARE` is "yes" or "true", or neither it
  /// nor `srcdir` is set in the environment. Without memory they may not.
  static bool is_interactive();

  /// Prints the summary.
  /// @return the exit status: 0 when all checks have passed, otherwise 1.
  int result() const;

  bool is_ok() const noexcept { return ok_; }

  /// Ends the program with the status that `result` gives, without the summary.
  [[noreturn]] void exit();

  // These leave the verbose stream as it is.
  bool verbose_enabled() const noexcept { return verbose_; }
  void enable_verbose() noexcept { verbose_ = true; }
  void disable_verbose() noexcept { verbose_ = false; }

  bool autoexit_selected() const noexcept { return auto_exit_; }
  void set_autoexit(bool auto_exit) noexcept { auto_exit_ = auto_exit; }

  /// Output of the test program that shows only when the command line asks for verbose mode: until
  /// then it is lost. Each `init` in verbose mode directs it to standard error and clears its
  /// state.
  fdostream verbose_stream;

protected:
  void init_internal(int argc, char **argv);
  void init_external(int argc, char **argv);

private:
  static constexpr unsigned int DESCRIPTION_LIMIT = 2045; // characters, terminator included
  static constexpr unsigned int DESCRIPTION_SIZE = 2050;  // with the dots behind it

  void read_arguments(int argc, char *const *argv);
  void report(char const *outcome) const;
  int exit_status() const noexcept { return ok_ ? 0 : 1; }

  bool ok_ = true;
  bool needs_hardware_;
  unsigned int test_count_ = 0;
  bool auto_exit_;
  bool verbose_ = false;
  char description_[DESCRIPTION_SIZE] = "";
  // Behind the stream, so that it goes first.
  std::unique_ptr<EnvironmentSetup> environment_setup_; // null before `init` and without memory
};

} // namespace Ostrel
