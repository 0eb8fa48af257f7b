// SPDX-License-Identifier: Apache-2.0
// A log file.
#include "core/base/logging/ILoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tests/support/Files.hpp"
#include "torture/comebacks/Scenario.hpp"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

using namespace Ostrel;

namespace {

// Without permission for the file, nothing is written until `re_open`.
class Log : public Scenario {
public:
  Log(std::string const &directory, int error)
      : file_(directory + "/lines.log"), permitted_(error != EACCES) {
    setenv("OSTREL_LOG_PRIORITY", "Torture.Comebacks,INFO", 1);
    setenv("OSTREL_LOG_OUTPUT", file_.c_str(), 1);
  }

  void use() override {
    category().info("first");
    category().info("second");
  }

  void use_again() override {
    ILoggingOutput *const output = category().get_logging_output();
    require(output != nullptr, "not set up again");
    if (output == nullptr) {
      return;
    }
    bool const is_written = read_file(file_).find("second\n") != std::string::npos;
    require(is_written || failed_steps() > 0, "no line without a failure");
    if (!permitted_) {
      output->re_open();
    }
    // After a failure the output retries at most once a second.
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    bool is_again = false;
    while (!is_again && std::chrono::steady_clock::now() < end) {
      category().info("again");
      std::string const text = read_file(file_);
      is_again = text.find("INFO  - again\n") != std::string::npos;
      usleep(is_again ? 0 : PAUSE_US);
    }
    require(is_again, "no line again");
  }

private:
  static constexpr useconds_t PAUSE_US = 10000;

  static LoggingCategory &category() { return LoggingCategory::get_instance("Torture.Comebacks"); }

  std::string const file_;
  bool const permitted_;
};

} // namespace

std::unique_ptr<Scenario> make_log(std::string const &directory, int error) {
  return std::make_unique<Log>(directory, error);
}
