// SPDX-License-Identifier: Apache-2.0
// The calls that follow those of all subjects: the test harness and its streams, and the refusal of
// a broken file, which resets the last error of the XML library.
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/testing/TestUtils.hpp"
#include "core/base/testing/fdostream.hpp"
#include "tests/support/Files.hpp"
#include "torture/allocations/Calls.hpp"
#include "torture/support/FailingMalloc.hpp"

#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

using FailingMalloc::strain;

Outcome run_harness() {
  std::string name = "a program", verbose = "--verbose";
  char *arguments[] = {name.data(), verbose.data(), nullptr};
  NewText const err(STANDARD_ERROR);
  int status = 1;
  strain([&] {
    TestUtils test(2, arguments, /*needs_hardware=*/false, /*auto_exit=*/false);
    test.describe("A check of %s", "something");
    test.check(true);
    test.verbose_stream << "The number " << 1.5 << '\n';
    status = test.result();
    return TestUtils::is_interactive() ? 1 : 0;
  });
  restore_config_path(); // the destructor of the harness removes it
  return status == 0 && err.text().find("A check of something...") != std::string::npos &&
                 err.text().find("The number 1.5\n") != std::string::npos
             ? Outcome::RIGHT
             : Outcome::WRONG;
}

// Also resets the last error of the XML library, which keeps memory for it.
Outcome refuse_broken_file() {
  NewText const err(STANDARD_ERROR);
  XmlConfigSource source;
  if (source.set_search_path(scenario_directory().c_str()) != RESULT_SUCCESS) {
    return Outcome::WRONG;
  }
  unsigned long const result =
      strain([&] { return source.init_source(static_cast<void const *>("broken.xml")); });
  return result == RESULT_FAILURE ? err.has("WARN  - Failed to parse config file " +
                                            scenario_directory() + "\\broken.xml\n")
                                  : by_code(result, false);
}

Outcome write_to_descriptor() {
  std::string const path = in_directory("stream.txt");
  int const descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  strain([&] {
    fdostream stream(descriptor);
    stream << "text and " << 7;
    return 0;
  });
  close(descriptor);
  return right_if(read_file(path) == "text and 7");
}

} // namespace

std::vector<Call> last_calls() {
  return {
      {"run the harness", run_harness},
      {"refuse a broken file", refuse_broken_file},
      {"write to a descriptor", write_to_descriptor},
  };
}
