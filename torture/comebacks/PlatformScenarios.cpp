// SPDX-License-Identifier: Apache-2.0
// Named mutexes, libraries and lists of directories.
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "core/base/platform/Win32Mutex.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/comebacks/Scenario.hpp"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <unistd.h>

using namespace Ostrel;

namespace {

// The result of opening or creating a mutex.
class NamedMutex {
public:
  NamedMutex(std::string const &name, bool open_existing)
      : mutex_(false, name.c_str(), open_existing, nullptr, &result_) {}

  unsigned long result() const { return result_; }
  bool can_be_owned() { return mutex_.acquire() && mutex_.release(); }

private:
  unsigned long result_ = RESULT_FAILURE; // before the mutex, which sets it
  Win32Mutex mutex_;
};

Role const open_mutex("open-mutex", [](Role::Arguments const &arguments) {
  NamedMutex mutex(arguments[0], /*open_existing=*/true);
  return mutex.result() == RESULT_SUCCESS && mutex.can_be_owned() ? 0 : 1;
});

class Mutexes : public Scenario {
public:
  Mutexes(std::string const & /*directory*/, int /*error*/)
      : name_("torture comebacks " + std::to_string(getpid())) {}

  void use() override {
    created_.emplace(name_, /*open_existing=*/false);
    is_owned_ = created_->can_be_owned();
    opened_.emplace(name_, /*open_existing=*/true);
  }

  void use_again() override {
    bool const is_created = created_->result() == RESULT_SUCCESS;
    require(is_created || created_->result() == RESULT_SYSTEM_ERROR, "undocumented result");
    require(is_created || !is_owned_, "a mutex that was not created is owned");
    require((opened_->result() == RESULT_SUCCESS) == is_created, "opened other than created");
    if (is_owned_) {
      created_->can_be_owned(); // fails once if the release could not clear the owner's record
    }
    require(!is_created || is_usable(*created_), "what was created is not there");
    opened_.reset();
    created_.reset();
    require(run_child("open-mutex", {name_}).status != 0, "closed, but there");
    NamedMutex again(name_, /*open_existing=*/false);
    require(again.result() == RESULT_SUCCESS && is_usable(again), "cannot be created again");
  }

private:
  bool is_usable(NamedMutex &mutex) const {
    return mutex.can_be_owned() && run_child("open-mutex", {name_}).status == 0;
  }

  std::string const name_;
  std::optional<NamedMutex> created_, opened_;
  bool is_owned_ = false;
};

// Two libraries of the same name along the path: the first must be loaded.
class Library : public Scenario {
public:
  Library(std::string const &directory, int /*error*/) : first_(directory + "/first") {
    std::string const second = directory + "/second";
    for (std::string const &place : {first_, second}) {
      std::filesystem::create_directory(place);
      std::filesystem::copy_file(PLUGIN_FILE, place + "/plugin.so");
    }
    setenv("OSTREL_LIBRARY_PATH", (first_ + ";" + second).c_str(), 1);
    setenv("PATH", PATH, 1);
  }
  Library(Library const &) = delete;
  Library &operator=(Library const &) = delete;
  ~Library() override {
    if (library_ != nullptr) {
      library_->remove_ref();
    }
  }

  void use() override {
    result_ = RESULT_OUT_OF_MEMORY;
    library_ = Platform::create_shared_library();
    if (library_ != nullptr && library_->set_name("plugin") == RESULT_SUCCESS) {
      result_ = library_->load();
    }
  }

  void use_again() override {
    require(result_ == RESULT_SUCCESS || result_ == RESULT_NOT_FOUND ||
                result_ == RESULT_OUT_OF_MEMORY,
            "undocumented result");
    std::string path;
    require(Platform::get_environment_variable("PATH", &path) && path == PATH,
            "PATH is not restored");
    require(result_ != RESULT_SUCCESS || is_first_loaded(), "another file was loaded");
    if (library_ != nullptr) {
      library_->remove_ref();
    }
    use();
    require(result_ == RESULT_SUCCESS && is_first_loaded(), "cannot be loaded again");
  }

private:
  static constexpr char PATH[] = "/nowhere";

  bool is_first_loaded() const {
    void *symbol = nullptr;
    Dl_info place = {};
    return library_->get_symbol("use_library", &symbol) == RESULT_SUCCESS &&
           dladdr(symbol, &place) != 0 && place.dli_fname == first_ + "/plugin.so";
  }

  std::string const first_;
  ISharedLibrary *library_ = nullptr;
  unsigned long result_ = RESULT_OUT_OF_MEMORY;
};

// A failing device must not look like a directory with fewer names. Each failed call may hide one
// name, whose status it read. A directory that cannot be opened counts as empty.
class Lists : public Scenario {
public:
  Lists(std::string const &directory, int error)
      : prefix_(directory + "/"), has_failing_device_(error == EIO) {
    write_file(prefix_ + "first", "");
    write_file(prefix_ + "second", "");
  }

  void use() override {
    results_[0] = Platform::get_file_list(prefix_.c_str(), "", &files_);
    results_[1] = Platform::get_dir_list(prefix_.c_str(), &directories_);
  }

  void use_again() override {
    check(results_[0], files_);
    check(results_[1], directories_);
    use();
    require(results_[0] == RESULT_SUCCESS && files_.size() == NAMES &&
                results_[1] == RESULT_SUCCESS && directories_.size() == NAMES,
            "cannot be listed again");
  }

private:
  static constexpr std::size_t NAMES = 2; // "first" and "second"; "." and ".."

  void check(unsigned long result, std::vector<std::string> const &names) const {
    require(result == RESULT_SUCCESS || names.empty(), "names in spite of a failure");
    require(result != RESULT_SUCCESS || !has_failing_device_ ||
                names.size() + failed_steps() >= NAMES,
            "a list that could not be read is complete");
  }

  std::string const prefix_;
  bool const has_failing_device_;
  std::vector<std::string> files_, directories_;
  std::array<unsigned long, 2> results_ = {};
};

} // namespace

std::unique_ptr<Scenario> make_mutexes(std::string const &directory, int error) {
  return std::make_unique<Mutexes>(directory, error);
}

std::unique_ptr<Scenario> make_library(std::string const &directory, int error) {
  return std::make_unique<Library>(directory, error);
}

std::unique_ptr<Scenario> make_lists(std::string const &directory, int error) {
  return std::make_unique<Lists>(directory, error);
}
