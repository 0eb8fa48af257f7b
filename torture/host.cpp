// SPDX-License-Identifier: Apache-2.0
// The host parses with libxml2 and its own error handlers, and reads the environment, while the
// library loads its files with libxml2 and changes variables.
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/platform/EnvironmentSetup.hpp"
#include "core/base/platform/ISharedLibrary.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/Files.hpp"
#include "tests/support/Threads.hpp"
#include "torture/support/Torture.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

using namespace Ostrel;

namespace {

constexpr unsigned int HANG_S = 280;
constexpr char GOOD[] = "<host> <a name='1'>text</a> </host>";
constexpr char BAD[] = "<host><a></host>";

// --- The host's XML ---------------------------------------------------------------------------

thread_local int structured_errors = 0;
thread_local int generic_errors = 0;

void count_structured(void * /*context*/, xmlError * /*error*/) {
  ++structured_errors;
}

void count_generic(void * /*context*/, char const * /*format*/, ...) {
  ++generic_errors;
}

// The result of the parser without the library, for comparison.
int errors_of(char const *text, xmlDoc *(*parse)(char const *)) {
  structured_errors = generic_errors = 0;
  if (xmlDoc *const document = parse(text); document != nullptr) {
    xmlFreeDoc(document);
  }
  return structured_errors + generic_errors;
}

xmlDoc *parse_in_memory(char const *text) {
  return xmlReadMemory(text, static_cast<int>(std::strlen(text)), "host.xml", nullptr, 0);
}

xmlDoc *parse_with_own_parser(char const *text) {
  xmlParserCtxt *const parser = xmlNewParserCtxt();
  xmlDoc *const document =
      xmlCtxtReadMemory(parser, text, static_cast<int>(std::strlen(text)), "host.xml", nullptr, 0);
  xmlFreeParserCtxt(parser);
  return document;
}

// Whether the document has its blanks, which the library removes from its own documents.
bool keeps_blanks() {
  xmlDoc *const document = xmlParseDoc(reinterpret_cast<xmlChar const *>(GOOD));
  if (document == nullptr) {
    return false;
  }
  xmlNode const *const first = xmlDocGetRootElement(document)->children;
  bool const is_kept = first != nullptr && first->type == XML_TEXT_NODE;
  xmlFreeDoc(document);
  return is_kept;
}

// Whether a variable's value begins with that text. Hidden from the thread sanitizer, which does
// not know that the text that `getenv` returns is never written.
__attribute__((no_sanitize("thread"))) bool begins_with(char const *value, char const *text) {
  while (*text != '\0' && *value == *text) {
    ++value;
    ++text;
  }
  return *text == '\0';
}

bool load(XmlConfigSource &source) {
  return source.init_source(IConfigSource::CONFIG_ROOT_USER_CONFIG, nullptr) == RESULT_SUCCESS;
}

class Host {
public:
  Host(Torture &torture, std::string const &good, std::string const &bad, int loads)
      : torture_(torture), good_(good), bad_(bad), loads_(loads) {}

  // The threads, by number.
  void run(int thread) {
    switch (thread) {
    case 0:
    case 1:
      load_all();
      break;
    case 2:
    case 3:
      parse(thread == 2);
      break;
    case 4:
    case 5:
      read_environment();
      break;
    default:
      change_environment();
    }
  }

  static constexpr int THREADS = 7;

  unsigned long parses() const { return parses_; }
  unsigned long reads() const { return reads_; }
  unsigned long changes() const { return changes_; }

private:
  // The host's own handlers are restored in a thread that loads.
  void load_all() {
    xmlSetStructuredErrorFunc(nullptr, count_structured);
    XmlConfigSource source;
    source.set_search_path(good_.c_str());
    XmlConfigSource broken;
    broken.set_search_path(bad_.c_str());
    std::string name;
    for (int i = 0; i < loads_; ++i) {
      structured_errors = 0;
      if (!load(source) || source.get_config_root() != IConfigSource::CONFIG_ROOT_USER_CONFIG ||
          source.find_first(nullptr, &name) == nullptr) {
        torture_.fault("a file cannot be loaded");
      }
      if (i % 16 == 0 && load(broken)) {
        torture_.fault("a broken file is loaded");
      }
      if (structured_errors != 0) {
        torture_.fault("the host hears of the library's errors");
      }
      if (i % 16 == 0 && errors_of(BAD, parse_in_memory) == 0) {
        torture_.fault("a load takes the host's error handler away");
      }
    }
    ++ended_;
  }

  void parse(bool is_structured) {
    if (is_structured) {
      xmlSetStructuredErrorFunc(nullptr, count_structured);
    } else {
      xmlSetGenericErrorFunc(nullptr, count_generic);
    }
    int const expected = errors_of(BAD, parse_in_memory);
    do {
      if (errors_of(BAD, parse_in_memory) != expected ||
          errors_of(BAD, parse_with_own_parser) != expected ||
          errors_of(GOOD, parse_with_own_parser) != 0) {
        torture_.fault("the host's parser tells other errors than before");
      }
      if (!keeps_blanks()) {
        torture_.fault("the host's parser drops blanks");
      }
      ++parses_;
    } while (ended_ < 2);
  }

  // A variable that changes has either the old or the new value, complete.
  void read_environment() {
    do {
      char const *const steady = std::getenv("TORTURE_STEADY");
      char const *const path = std::getenv("PATH");
      char const *const config = std::getenv("OSTREL_CONFIG_PATH");
      if (steady == nullptr || !begins_with(steady, "steady")) {
        torture_.fault("a variable that is never changed is missing");
      }
      if (path == nullptr || !begins_with(path, "/torture/first")) {
        torture_.fault("PATH is %s", path == nullptr ? "not set" : path);
      }
      if (config != nullptr && !begins_with(config, set_up_.c_str())) {
        torture_.fault("OSTREL_CONFIG_PATH is %s", config);
      }
      ++reads_;
    } while (ended_ < 2);
  }

  void change_environment() {
    ISharedLibrary *const library = Platform::create_shared_library();
    library->set_name("libresolv.so.2"); // part of the C library, and not needed here
    do {
      library->add_search_path(std::to_string(changes_ % 100).c_str());
      if (library->load() != RESULT_SUCCESS || library->unload() != RESULT_SUCCESS) {
        torture_.fault("a library cannot be loaded");
      }
      library->clear_search_path();
      set_up();
      ++changes_;
    } while (ended_ < 2);
    library->remove_ref();
  }

  // Sets the library's variable and removes it again; returns its value in between.
  static std::string set_up() {
    char program[] = "ostrel-core/torture";
    char *arguments[] = {program, nullptr};
    EnvironmentSetup const setup(1, arguments);
    char const *const value = std::getenv("OSTREL_CONFIG_PATH");
    return value == nullptr ? "" : value;
  }

  Torture &torture_;
  std::string const set_up_ = set_up();
  std::string const good_, bad_;
  int const loads_;
  std::atomic<int> ended_{0}; // of the threads that load
  std::atomic<unsigned long> parses_{0}, reads_{0}, changes_{0};
};

} // namespace

int torture() {
  Torture torture("The host may use libxml2 and the environment");
  alarm(HANG_S);
  TemporaryDirectory const directory;
  write_file(directory.path("good/user-config.xml"),
             "<UserConfig> <Key Name='1'/> <Key Name='2'>&lt;text&gt;</Key> </UserConfig>");
  write_file(directory.path("bad/user-config.xml"), "<UserConfig><Key></UserConfig>");
  setenv("TORTURE_STEADY", "steady", 1);
  setenv("PATH", "/torture/first", 1);
  unsetenv("OSTREL_CONFIG_PATH");
  LoggingCategory::get_root_category().set_logging_output(new FileLoggingOutput("/dev/null"));
  unsigned int const loads = rounds(10000);
  Host host(torture, directory.path("good"), directory.path("bad"), static_cast<int>(loads / 2));
  in_threads(Host::THREADS, [&host](int thread) { host.run(thread); });
  return torture.row(
      "%u loads while the host parses %lu times, reads the environment %lu times and "
      "the library changes it %lu times",
      loads, host.parses(), host.reads(), host.changes());
}
