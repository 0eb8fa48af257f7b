// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/foundation/Export.h"
#include "core/base/testing/fdostream.hpp"

#include <memory>

namespace Ostrel {

class EnvironmentSetup;

/// A small harness for test programs: describe a check, report its outcome, and return `result()`
/// as the exit status of the program.
///
///     int main(int argc, char **argv) {
///       Ostrel::TestUtils test(argc, argv, /*needs_hardware=*/false, /*auto_exit=*/false);
///       test.describe("Adding %d and %d", 1, 2);
///       test.check(1 + 2 == 3);
///       return test.result();
///     }
///
/// Reports to standard error: failed checks always, passed ones only in verbose mode ("--verbose"
/// or "-v" on the command line). For use by the main thread only. Texts are borrowed for the call.
class OSTBASE_API TestUtils {
public:
  /// Does not read a command line; call `init`.
  ///
  /// @param needs_hardware  true: `init` ends the program with status 0 unless `is_interactive()`.
  /// @param auto_exit       true: the first failed check ends the program with status 1.
  TestUtils(bool needs_hardware, bool auto_exit);
  /// The same, then calls `init`.
  TestUtils(int argc, char **argv, bool needs_hardware, bool auto_exit);
  TestUtils(TestUtils const &) = delete;
  TestUtils &operator=(TestUtils const &) = delete;

  /// Removes the variables that `EnvironmentSetup` sets. Prints nothing.
  virtual ~TestUtils();

  /// Sets up the environment, prints the banner and reads the command line. Skips a null `argv` and
  /// null arguments.
  void init(int argc, char **argv);

  /// Sets the text of the next check, printf-style, truncated to 2044 characters. A null format is
  /// the empty text.
  void describe(char const *format, ...) OSTBASE_PRINTF(2, 3);

  /// Counts a check, reports it under its description and clears the description.
  /// @return whether all checks so far have passed; the same holds for the checks below.
  bool check(bool is_passed);

  /// The same; if the check fails, first prints the source line. A null file is an empty name.
  bool check_line(bool is_passed, char const *file, int line);

  /// Passes if the values differ by less than the tolerance; never with a NaN.
  bool check_close(double a, double b, double tolerance);

  /// Passes if the values are equal; never with a NaN.
  bool check_equal(double a, double b);

  /// If the check fails, aborts the program with `fatal_error`.
  bool fatal_check(bool is_passed, char const *text);

  /// Prints the text, or "Unknown internal error" if it is null, and aborts the program.
  [[noreturn]] void fatal_error(char const *text);

  /// Counts a check that is skipped.
  void ignore();

  /// In verbose mode prints a message, printf-style, without adding anything. Null prints nothing.
  void msg(char const *format, ...) const OSTBASE_PRINTF(2, 3);

  /// In verbose mode prints the low 16 bits of an error code.
  /// @return whether the code is 0.
  bool verbose_err_code(int code) const;

  /// Whether tests may use the hardware: true if `OSTREL_TEST_HARDWARE` is "yes" or "true", or if
  /// neither it nor `srcdir` is set in the environment. False if out of memory.
  static bool is_interactive();

  /// Prints the summary.
  /// @return the exit status: 0 if all checks have passed, otherwise 1.
  int result() const;

  bool is_ok() const noexcept { return ok_; }

  /// Ends the program with the same status, without the summary.
  [[noreturn]] void exit();

  // These do not change the verbose stream.
  bool verbose_enabled() const noexcept { return verbose_; }
  void enable_verbose() noexcept { verbose_ = true; }
  void disable_verbose() noexcept { verbose_ = false; }

  bool autoexit_selected() const noexcept { return auto_exit_; }
  void set_autoexit(bool auto_exit) noexcept { auto_exit_ = auto_exit; }

  /// A stream for the test program's own output, which is discarded unless the command line selects
  /// verbose mode. Then `init` directs the stream to standard error and clears its state.
  fdostream verbose_stream;

protected:
  void init_internal(int argc, char **argv);
  void init_external(int argc, char **argv);

private:
  static constexpr unsigned int DESCRIPTION_LIMIT = 2045; // characters, terminator included
  static constexpr unsigned int DESCRIPTION_SIZE = 2050;  // with the dots that follow

  void read_arguments(int argc, char *const *argv);
  void report(char const *outcome) const;
  int exit_status() const noexcept { return ok_ ? 0 : 1; }

  bool ok_ = true;
  bool needs_hardware_;
  unsigned int test_count_ = 0;
  bool auto_exit_;
  bool verbose_ = false;
  char description_[DESCRIPTION_SIZE] = "";
  // Declared after the stream, so that it is destroyed first.
  std::unique_ptr<EnvironmentSetup> environment_setup_; // null before `init` or if out of memory
};

} // namespace Ostrel
