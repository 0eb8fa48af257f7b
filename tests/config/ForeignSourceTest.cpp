// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/Configuration.hpp"
#include "core/base/config/NullConfigSource.hpp"
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <tuple>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

TEST(NullConfigSource, HoldsNothing) {
  NullConfigSource source;
  Configuration configuration(source);
  std::string text = "stale";
  EXPECT_EQ(configuration.init_source("file.xml"), RESULT_FAILURE);
  EXPECT_EQ(configuration.get_value("A", "v", &text), RESULT_NOT_FOUND);
  EXPECT_EQ(configuration.find_repository_key("r", nullptr), nullptr);
  EXPECT_EQ(configuration.commit(), RESULT_FAILURE);
  EXPECT_EQ(&configuration.get_config_source(), &source);
  EXPECT_EQ(source.get_config_root(), IConfigSource::CONFIG_ROOT_NONE);
  for (void const *handle : {source.open_repository("r"), source.create_key(&source, "A", true),
                             source.find_first(nullptr, &text), source.find_next(&source, &text),
                             source.find_first_value(&source, &text, &text),
                             source.find_next_value(&source, &text, &text),
                             source.find_indexed_sub_key(&source, "A", 0)}) {
    EXPECT_EQ(handle, nullptr);
  }
  for (unsigned long const result :
       {source.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr),
        source.set_value(&source, "v", "t", true), source.delete_key(&source),
        source.delete_value(&source)}) {
    EXPECT_EQ(result, RESULT_FAILURE);
  }
  EXPECT_FALSE(source.get_key_name(&source, &text) || source.get_value_data(&source, &text, &text));
  EXPECT_EQ(text, "stale");
}

// A source that hides keys: the facade must walk it.
class HidingSource : public XmlConfigSource {
public:
  void const *find_next(void const *key, std::string *name) const override {
    void const *next = XmlConfigSource::find_next(key, name);
    return next != nullptr && *name == "Hidden" ? find_next(next, name) : next;
  }
};

TEST(Configuration, WalksAForeignSourceThroughItsOwnOperations) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("file.xml");
  write_file(path, "<U><A v='0'/><Hidden v='h'/><B v='1' w='2'>t</B><A v='2'/></U>");
  HidingSource source;
  Configuration configuration(source);
  ASSERT_EQ(configuration.init_source(path.c_str()), RESULT_SUCCESS);
  std::string text;
  EXPECT_EQ(configuration.find_key("U/Hidden"), nullptr);
  std::tuple<char const *, char const *, char const *> const cases[] = {
      {"U/:1", "w", "2"}, {"U/A:1", "v", "2"}, {"U/B", nullptr, "t"}, {"U/B", "", "t"}};
  for (auto const &[key, name, expected] : cases) {
    EXPECT_EQ(configuration.get_value(key, name, &text), RESULT_SUCCESS);
    EXPECT_EQ(text, expected) << key;
  }
}

// A source that is slow to load, or whose result is not a code: its low 32 bits are those of
// success.
class StrangeSource : public NullConfigSource {
public:
  unsigned long init_source(ConfigRoot /*root*/, void const * /*argument*/) override {
    return ~0UL - 0xFFFFFFFFUL;
  }
  unsigned long init_source(void const * /*description*/) override {
    is_inside = true;
    work();
    is_inside = false;
    return RESULT_SUCCESS;
  }

  std::atomic<bool> is_inside{false};
  std::function<void()> work = [] { usleep(50000); };
};

TEST(Configuration, AnUnknownResultIsLoggedAsSuch) {
  CapturedLog log("Ostrel.Core.Base.Configuration");
  StrangeSource source;
  EXPECT_NE(Configuration(source).init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr), 0U);
  EXPECT_EQ(log.take(), std::vector<std::string>{"WARN  - Failed to initialize source: Unknown "
                                                 "result code; internal error???"});
}

TEST(Configuration, IsWholeInAChildOfFork) {
  StrangeSource source;
  Configuration configuration(source);
  std::atomic<bool> is_copied{false};
  std::thread other([&] {
    configuration.init_source("file.xml");
    while (!is_copied) { // else the thread sanitizer reports it as leaked in the child
      std::this_thread::yield();
    }
  });
  while (!source.is_inside) {
    std::this_thread::yield();
  }
  pid_t const child = fork();
  if (child == 0) {
    _exit(source.is_inside ? 1 : 0);
  }
  is_copied = true;
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "the load was over when the process was copied";
  other.join();
}

TEST(Configuration, DoesNotBlockAForkThatItsSourceWaitsFor) {
  StrangeSource source;
  source.work = [] {
    std::thread([] { fork() == 0 ? _exit(0) : static_cast<void>(wait(nullptr)); }).join();
  };
  EXPECT_EQ(Configuration(source).init_source("file.xml"), RESULT_SUCCESS);
}

} // namespace
