// SPDX-License-Identifier: Apache-2.0
// Settings, found by the environment or by the registry.
#include "core/base/config/UserConfig.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "tests/support/Files.hpp"
#include "torture/comebacks/Scenario.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

using namespace Ostrel;

namespace {

constexpr char SETTING[] = "UserConfig/K/v";

std::string settings_file(char const *value) {
  return std::string("<UserConfig>\n  <K v=\"") + value + "\"/>\n</UserConfig>\n";
}

// A saved file begins with an XML declaration.
bool holds_value(std::string const &path, char const *value) {
  std::string const text = read_file(path), end = settings_file(value);
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Two settings files: a failure must not lead from the first to the second. Without permission for
// the first, the second is used for the life of the process; without permission for both, none. The
// text that was read shows the file.
class Settings : public Scenario {
public:
  Settings(std::string const &directory, int error)
      : first_(directory + "/first/config"), second_(directory + "/second"),
        permitted_(error != EACCES) {
    write_file(first_ + "/user-config.xml", settings_file("first"));
    write_file(second_ + "/user-config.xml", settings_file("second"));
    std::string const registry = directory + "/registry.reg";
    write_file(registry, registry_file("\"InstallPath\"=\"" + directory + "/first\"\n"));
    setenv("OSTREL_REGISTRY_FILE", registry.c_str(), 1);
    setenv("OSTREL_CONFIG_PATH", (first_ + ";" + second_).c_str(), 1);
  }

  void use() override {
    read();
    commit();
  }

  void use_again() override {
    bool const is_read = get_result_ == RESULT_SUCCESS, is_set = set_result_ == RESULT_SUCCESS;
    bool const is_passed_over = !permitted_ && text_ == "second";
    bool const has_file = permitted_ || !text_.empty();
    char const *const before = !has_file ? "" : is_passed_over ? "second" : "first";
    std::string const file = (is_passed_over ? second_ : first_) + "/user-config.xml";
    std::string text;
    bool const holds =
        require(is_documented(get_result_) && is_documented(set_result_), "undocumented result") &&
        require(!is_read || text_ == before, "another file was read") &&
        require(!has_file || holds_value(file, is_set ? "during" : before) ||
                    (!is_set && holds_value(file, "during")),
                "the file does not hold what was set") &&
        require(UserConfig::get_user_config(SETTING, &text) == RESULT_SUCCESS,
                "cannot be read again") &&
        require(text == (is_set ? "during" : before) || (!is_read && text == "during"),
                "another text is read again");
    // Otherwise the settings may come from a file outside the directory, which must not change.
    if (holds) {
      require(UserConfig::set_user_config(SETTING, "after", /*commit=*/true) == RESULT_SUCCESS,
              "cannot be set again");
      require(!has_file || holds_value(file, "after"), "the file does not hold what was set again");
    }
    require(is_passed_over || holds_value(second_ + "/user-config.xml", "second"),
            "another file was changed");
    require(!is_passed_over || holds_value(first_ + "/user-config.xml", "first"),
            "the file that was passed over was changed");
  }

protected:
  void read() { get_result_ = UserConfig::get_user_config(SETTING, &text_); }
  void commit() { set_result_ = UserConfig::set_user_config(SETTING, "during", /*commit=*/true); }
  bool has_read_first() const { return text_ == "first"; }

private:
  static bool is_documented(unsigned long result) {
    return result == RESULT_SUCCESS || result == RESULT_FAILURE || result == RESULT_OUT_OF_MEMORY ||
           result == RESULT_ACQUISITION_ERROR;
  }

  std::string const first_, second_;
  bool const permitted_;
  std::string text_;
  unsigned long get_result_ = RESULT_FAILURE, set_result_ = RESULT_FAILURE;
};

// The registry file names the first directory; the current directory is the second. A fault would
// lead to the build-time default directory, so the round commits only if it has read the first
// file.
class RegistrySettings : public Settings {
public:
  RegistrySettings(std::string const &directory, int error) : Settings(directory, error) {
    std::filesystem::current_path(directory + "/second");
    unsetenv("OSTREL_CONFIG_PATH");
  }

  void use() override {
    read();
    if (has_read_first()) {
      commit();
    }
  }
};

} // namespace

std::unique_ptr<Scenario> make_settings(std::string const &directory, int error) {
  return std::make_unique<Settings>(directory, error);
}

std::unique_ptr<Scenario> make_registry_settings(std::string const &directory, int error) {
  return std::make_unique<RegistrySettings>(directory, error);
}
