// SPDX-License-Identifier: Apache-2.0
// Files that were made to harm the program that loads them. Each is loaded in its own process,
// whose time and memory are measured; then all are loaded in one process under strace.
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tests/support/Child.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Ostrel;

constexpr double LONGEST_MS = 100;        // of processor time, for a small file
constexpr double LONGEST_MS_PER_MB = 200; // added for each megabyte of a larger file
constexpr long MOST_KB = 64L * 1024;      // above the load of an empty file
constexpr unsigned int HANGS_AFTER = 5;   // seconds
constexpr int SOME = 100000;              // of everything that occurs often

// --- The corpus -------------------------------------------------------------------------------

// The files, in a directory, named by their numbers. The quick run has every hundredth.
class Corpus {
public:
  void add(std::string const &content) {
    if (met_++ % stride_ == 0) {
      add_always(content);
    }
  }
  void add_always(std::string const &content) { write_file(path(size_++), content); }

  unsigned int size() const { return size_; }
  std::string const &directory() const { return directory_.path(); }
  std::string path(unsigned int number) const { return path(directory(), number); }
  static std::string path(std::string const &directory, unsigned int number) {
    return directory + "/" + std::to_string(number) + ".xml";
  }

private:
  TemporaryDirectory directory_;
  unsigned int const stride_ = 100 / rounds(100);
  unsigned int met_ = 0, size_ = 0;
};

// Repeats a text, with the number of the repetition for each '@'.
std::string repeated(std::string const &text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    for (char const c : text) {
      c == '@' ? result += std::to_string(i) : result += c;
    }
  }
  return result;
}

std::string with_declarations(std::string const &declarations, std::string const &content = "") {
  return "<!DOCTYPE R [" + declarations + "]><R>" + content + "</R>";
}

// A file with every construct that the parser knows.
constexpr char GOOD_FILE[] =
    "<?xml version='1.0' encoding='UTF-8' standalone='yes'?>\n<!-- comment -->\n<?instruction v?>\n"
    "<!DOCTYPE UserConfig [\n<!ELEMENT UserConfig ANY>\n<!ATTLIST K v CDATA #IMPLIED w ID 'd'>\n"
    "<!ENTITY e 'text &#38;#60; more'>\n<!ENTITY f '&e;<K/>&e;'>\n<!ENTITY g 'G'>\n"
    "<!NOTATION n PUBLIC 'n'>\n]>\n"
    "<UserConfig xmlns:p='u' v='a &lt; &quot;b&quot; &#xE9;'>\n  <K v='1'>text &e; &f; &g;</K>\n"
    "  <p:K p:v='2'><![CDATA[<raw> & ]]></p:K>\n  <K><K><K w='3'/></K></K>\n  "
    "\xC3\xA9\xF0\x9F\xA4\x96\n"
    "</UserConfig>\n<!-- end -->\n";

void add_damaged(Corpus &corpus) {
  std::string const good = GOOD_FILE;
  for (std::size_t length = 0; length <= good.size(); ++length) {
    corpus.add(good.substr(0, length));
  }
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (char const byte : {'\0', '<', '>', '&', ';', '"', '%', ' ', '\xFF'}) {
      std::string damaged = good;
      damaged[at] = byte;
      corpus.add(damaged);
    }
    corpus.add(good.substr(0, at) + good.substr(at + 1));
    corpus.add(good.substr(0, at) + good.substr(at / 2));
  }
}

void add_deep_and_huge(Corpus &corpus) {
  std::string const long_text(9000000, 'x'), too_long(11000000, 'x');
  for (int const depth : {256, 257, 258, 1000, SOME}) {
    corpus.add(repeated("<K>", depth) + repeated("</K>", depth));
    corpus.add(repeated("<K>", depth));
    corpus.add(repeated("<K a='", depth));
    corpus.add(with_declarations(
        "<!ENTITY e '" + repeated("<K>", depth) + repeated("</K>", depth) + "'>", "&e;"));
    corpus.add(with_declarations("<!ELEMENT R " + repeated("(", depth) + "a" +
                                 repeated(")", depth) + ">"));
    corpus.add(with_declarations(repeated("<![INCLUDE[", depth)));
  }
  for (std::string const &text : {long_text, too_long}) {
    corpus.add("<R>" + text + "</R>");
    corpus.add("<R v='" + text + "'/>");
    corpus.add("<R><![CDATA[" + text + "]]></R>");
    corpus.add("<R><!--" + text + "--></R>");
    corpus.add("<R><?p " + text + "?></R>");
    corpus.add("<" + text + "/>");
    corpus.add("<R " + text + "=''/>");
    corpus.add("<R>&" + text + ";</R>");
    corpus.add("<!DOCTYPE " + text + "><R/>");
    corpus.add("<!DOCTYPE R SYSTEM '" + text + "'><R/>");
    corpus.add("<?xml version='" + text + "'?><R/>");
    corpus.add("<?xml version='1.0' encoding='" + text.substr(0, 1000000) + "'?><R/>");
  }
  for (char const *part :
       {"<K/>", "<K@/>", "<K>@</K>", "x<K/>", "<K v=''/>", "<K>t</K>", "<!---->", "<?p?>", "&amp;",
        "&#65;", "<![CDATA[x]]>", "]]>", "<K xmlns='u@'/>", "<K xmlns='u'/>", "\n", "\r", " \t"}) {
    corpus.add("<R>" + repeated(part, SOME) + "</R>");
  }
  corpus.add("<R>" + repeated("<K@/>", 10 * SOME) + "</R>");
  for (char const *part :
       {" a@=''", " a=''", " xmlns:n@='u'", " n@:a='' xmlns:n@='u'", " a@='&#60;'", " xml:a@=''"}) {
    corpus.add("<R" + repeated(part, SOME) + "/>");
    corpus.add("<R>" + repeated("<K" + repeated(part, 100) + "/>", 100) + "</R>");
  }
}

// Each entity is ten times the one before.
std::string laughs(std::string const &first) {
  std::string declarations = "<!ENTITY e0 '" + first + "'>";
  for (int i = 1; i < 30; ++i) {
    declarations += "<!ENTITY e" + std::to_string(i) + " '" +
                    repeated("&e" + std::to_string(i - 1) + ";", 10) + "'>";
  }
  return declarations;
}

void add_entities(Corpus &corpus) {
  std::string const kilobytes_50(50000, 'x');
  for (int last = 1; last < 30; ++last) {
    std::string const number = std::to_string(last);
    for (char const *first : {"0123456789", "", "<K/>", "<K v=\"&#38;amp;\">t</K>"}) {
      corpus.add(with_declarations(laughs(first), "&e" + number + ";"));
    }
    corpus.add(with_declarations(laughs("x"), "<K v='&e" + number + ";'/>"));
    corpus.add(with_declarations(laughs("x") + "<!ATTLIST K v CDATA '&e" + number + ";'>", "<K/>"));
  }
  for (int const count : {10, 100, 1000, 10000, SOME}) {
    for (std::string const &text : {kilobytes_50, std::string(), std::string("&amp;"),
                                    std::string("<K/>"), repeated("<K/>", 10000)}) {
      std::string const entity = "<!ENTITY e '" + text + "'>";
      corpus.add(with_declarations(entity, repeated("&e;", count)));
      corpus.add(with_declarations(entity, "<K v='" + repeated("&e;", count) + "'/>"));
      corpus.add(with_declarations(entity, repeated("<K v='&e;'/>", count)));
      corpus.add(with_declarations(entity + repeated("<!ENTITY e@ '&e;'>", count),
                                   repeated("&e@;", count)));
    }
  }
  for (int const count : {100, 1000, 10000, SOME}) {
    corpus.add("<!DOCTYPE R SYSTEM 'x' [" + repeated("%p;", count) + "]><R>&f;</R>");
    for (char const *part :
         {"<!ENTITY e@ ''>", "<!ENTITY % e@ ''>", "<!ELEMENT K@ ANY>", "<!ATTLIST K a@ CDATA ''>",
          "<!ATTLIST K@ a CDATA 'v'>", "<!ATTLIST K@ a ID #IMPLIED>", "<!NOTATION n@ SYSTEM 'n'>",
          "<!---->", "<?p?>", "<!ELEMENT K@ (a|b|c)*>"}) {
      corpus.add(with_declarations(repeated(part, count), repeated("<K/>", 1000)));
    }
    corpus.add(with_declarations("<!ATTLIST R v (" + repeated("t@|", count) + "t) 't'>"));
    corpus.add(with_declarations("<!ELEMENT R (" + repeated("t@|", count) + "t)*>"));
  }
  for (char const *loop : {"<!ENTITY a '&a;'>", "<!ENTITY a '&b;'><!ENTITY b '&a;'>",
                           "<!ENTITY a '&b;&b;'><!ENTITY b '&a;&a;'>", "<!ENTITY % a ''>%a;",
                           "<!ENTITY a '<K v=\"&b;\"/>'><!ENTITY b '&a;'>"}) {
    corpus.add(with_declarations(loop, "&a;"));
    corpus.add(with_declarations(loop, "<K v='&a;'/>"));
  }
}

// References to other files. `elsewhere` is a readable file.
void add_external(Corpus &corpus, std::string const &elsewhere) {
  for (std::string const &place :
       {elsewhere, "file://" + elsewhere, std::string("/etc/passwd"),
        std::string("file:///etc/passwd"), std::string("http://127.0.0.1:9/x"),
        std::string("http://localhost/x.dtd"), std::string("ftp://127.0.0.1/x"),
        std::string("https://example.org/x"), std::string("//example.org/x"),
        std::string("../x.xml"), std::string("/dev/zero"), std::string("php://filter/x"),
        std::string("data:text/xml,x"), std::string("jar:file:///x!/y")}) {
    std::string const system = "SYSTEM '" + place + "'";
    for (std::string const &id :
         {system, "PUBLIC '-//W3C//DTD XHTML 1.0 Strict//EN' '" + place + "'"}) {
      corpus.add("<!DOCTYPE R " + id + "><R/>");
      corpus.add("<!DOCTYPE R " + id + " [<!ENTITY e 'x'>]><R>&e;&f;</R>");
      corpus.add("<?xml version='1.0' standalone='no'?><!DOCTYPE R " + id + "><R>&f;</R>");
      corpus.add(with_declarations("<!ENTITY e " + id + ">", "&e;"));
      corpus.add(with_declarations("<!ENTITY e " + id + ">", "<K v='&e;'/>"));
      corpus.add(with_declarations("<!ENTITY % e " + id + ">%e;"));
      corpus.add(with_declarations(
          "<!ENTITY % e " + id + "><!ENTITY % f \"<!ENTITY g " + system + ">\">%f;%e;", "&g;"));
      corpus.add(with_declarations("<!NOTATION n " + id + "><!ENTITY e " + id +
                                       " NDATA n><!ATTLIST K v ENTITY #IMPLIED>",
                                   "<K v='e'/>"));
    }
    corpus.add("<R xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include href='" + place +
               "'/><xi:include parse='text' href='" + place + "'><xi:fallback/></xi:include></R>");
    corpus.add("<?xml-stylesheet type='text/xsl' href='" + place + "'?><?xml-model href='" + place +
               "'?><?oasis-xml-catalog catalog='" + place + "'?><R xml:base='" + place +
               "' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:schemaLocation='u " +
               place + "' xsi:noNamespaceSchemaLocation='" + place + "'/>");
  }
}

constexpr char const *ENCODINGS[] = {
    "UTF-8",   "utf8",       "UTF-16",      "UTF-16LE",    "UTF-16BE",        "UTF-32",    "UCS-4",
    "UTF-7",   "ISO-8859-1", "US-ASCII",    "EBCDIC-US",   "IBM037",          "Shift_JIS", "EUC-JP",
    "GB18030", "BIG5",       "ISO-2022-JP", "ISO-2022-KR", "ISO-2022-CN-EXT", "HTML",      ""};

// Files that the C library opens for an encoding are allowed.
void add_harmless(Corpus &corpus) {
  corpus.add_always(GOOD_FILE);
  for (char const *name : ENCODINGS) {
    corpus.add_always(std::string("<?xml version='1.0' encoding='") + name + "'?><R/>");
  }
}

void add_encodings(Corpus &corpus) {
  std::string const content = "<UserConfig><K v='1'>text</K></UserConfig>";
  std::vector<std::string> names(std::begin(ENCODINGS), std::end(ENCODINGS));
  names.insert(names.end(),
               {"nonsense", "UTF-8//TRANSLIT", "../../x", "/etc/passwd", "ISO-8859-99"});
  for (std::string const &name : names) {
    std::string const head = std::string("<?xml version='1.0' encoding='") + name + "'?>";
    for (std::string const &bytes :
         {std::string(), std::string("\xFF\xFE"), std::string("\xFE\xFF"),
          std::string("\xEF\xBB\xBF"), std::string("\x4C\x6F\xA7\x94"), std::string("\0\0\0<", 4),
          std::string("<\0\0\0", 4), std::string("\x1B$B\x1B(B")}) {
      corpus.add(bytes + head + content);
      corpus.add(head + "<R>" + bytes + repeated("\xA4\xC3", 1000) + bytes + "</R>");
      std::string wide = bytes;
      for (char const c : head + content) {
        wide += {c, '\0'};
      }
      corpus.add(wide);
    }
  }
  for (std::string const &bytes :
       {std::string(SOME, '\0'), std::string(SOME, '\xFF'), std::string("\0", 1),
        std::string("<R>\0</R>", 8), std::string("<\0R/>", 5), std::string(SOME, '<'),
        std::string(SOME, '&'), std::string(SOME, '\n'), repeated("\xEF\xBB\xBF", SOME),
        repeated("\xFF\xFE", SOME)}) {
    corpus.add(bytes);
    corpus.add("<R>" + bytes + "</R>");
    corpus.add("<R v='" + bytes + "'/>");
    corpus.add(with_declarations(bytes));
  }
}

// --- The cost of a load -----------------------------------------------------------------------

struct Cost {
  double processor_ms;
  long peak_kb;
  int status; // of the process
};

unsigned long load(std::string const &path) {
  XmlConfigSource source;
  source.set_search_path(nullptr);
  return source.init_source(path.c_str());
}

// The allowed cost of a load: more for a larger file, since the limits on a file are counts.
double longest_ms(std::string const &path) {
  std::error_code error; // ignored: a missing file has size 0
  auto const size = std::filesystem::file_size(path, error);
  return LONGEST_MS + (error ? 0 : static_cast<double>(size) * 1e-6 * LONGEST_MS_PER_MB);
}

// Loads a file in its own process; for a missing file, the cost of the process itself.
Cost measure_once(std::string const &path) {
  pid_t const child = fork();
  if (child == 0) {
    alarm(HANGS_AFTER);
    load(path);
    _exit(EXIT_SUCCESS);
  }
  Cost cost = {0, 0, -1};
  rusage usage = {};
  wait4(child, &cost.status, 0, &usage);
  for (timeval const &time : {usage.ru_utime, usage.ru_stime}) {
    cost.processor_ms +=
        static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  }
  cost.peak_kb = usage.ru_maxrss;
  return cost;
}

// The same; a slow load is repeated, since other processes on the machine evict the caches.
Cost measure_load(std::string const &path) {
  constexpr int ATTEMPTS = 3;
  Cost cost = measure_once(path);
  double const longest = longest_ms(path);
  for (int i = 1; i < ATTEMPTS && cost.status == EXIT_SUCCESS && cost.processor_ms > longest; ++i) {
    cost = measure_once(path);
  }
  return cost;
}

// The printable beginning of a file.
std::string shown(std::string const &path) {
  std::string text = read_file(path).substr(0, 100);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
  return text;
}

// Loads each file.
// @return the highest costs.
Cost measure_loads(Torture &torture, Corpus const &corpus) {
  Cost const nothing = measure_load(corpus.path(corpus.size()));
  Cost most = {0, 0, 0};
  for (unsigned int number = 0; number < corpus.size(); ++number) {
    Cost cost = measure_load(corpus.path(number));
    cost.peak_kb -= nothing.peak_kb;
    if (cost.status != EXIT_SUCCESS || cost.processor_ms > longest_ms(corpus.path(number)) ||
        cost.peak_kb > MOST_KB) {
      torture.fault("file %u: status %d, %.0f ms, %ld KB, %ju bytes: %s", number, cost.status,
                    cost.processor_ms, cost.peak_kb,
                    std::filesystem::file_size(corpus.path(number)),
                    shown(corpus.path(number)).c_str());
    }
    most.processor_ms = std::max(most.processor_ms, cost.processor_ms);
    most.peak_kb = std::max(most.peak_kb, cost.peak_kb);
  }
  return most;
}

// --- The files that a load opens --------------------------------------------------------------

void be_silent() {
  LoggingCategory::get_instance("Ostrel.Core.Base.XmlConfigSource")
      .set_priority(LoggingPriority::ERROR);
}

Role const load_all("load-all", [](Role::Arguments const &arguments) {
  be_silent();
  for (unsigned long number = 0; number < std::stoul(arguments[1]); ++number) {
    load(Corpus::path(arguments[0], static_cast<unsigned int>(number)));
  }
  return EXIT_SUCCESS;
});

// Loads the first `count` files in a process under strace.
// @return its system calls on files and the network, with one name for all paths into the corpus.
std::set<std::string> watch_loaded(Torture &torture, Corpus const &corpus, unsigned int count) {
  TemporaryDirectory const directory;
  std::string const program = std::filesystem::read_symlink("/proc/self/exe").string(),
                    trace = directory.path("trace");
  std::string const command = "strace -f -qq -e trace=%file,%network -e signal=none -o '" + trace +
                              "' '" + program + "' --role load-all '" + corpus.directory() + "' " +
                              std::to_string(count);
  if (std::system(command.c_str()) != 0) {
    torture.fault("strace or what it watches failed");
  }
  std::ifstream lines(trace);
  std::set<std::string> calls;
  // Removes process numbers, arguments and addresses.
  std::regex const changing("^[0-9]+ +|0x[0-9a-f]+|\\[.*\\]|\\{.*\\}| = .*");
  std::regex const file("[^\"]*" + corpus.directory() + "/[0-9]+\\.xml");
  for (std::string line; std::getline(lines, line);) {
    calls.insert(std::regex_replace(std::regex_replace(line, changing, ""), file, "FILE"));
  }
  return calls;
}

// Loads all files; those that the first `harmless` open are allowed.
void watch_loads(Torture &torture, Corpus const &corpus, unsigned int harmless) {
  std::set<std::string> const known = watch_loaded(torture, corpus, harmless);
  std::set<std::string> const met = watch_loaded(torture, corpus, corpus.size());
  for (std::string const &call : met) {
    if (known.count(call) == 0) {
      torture.fault("a load touches something else: %s", call.c_str());
    }
  }
}

} // namespace

int torture() {
  Torture torture("Hostile files");
  be_silent();
  TemporaryDirectory const directory;
  write_file(directory.path("elsewhere"), "<!ENTITY f 'elsewhere'>");
  Corpus corpus;
  add_harmless(corpus);
  unsigned int const harmless = corpus.size();
  add_damaged(corpus);
  add_deep_and_huge(corpus);
  add_entities(corpus);
  add_external(corpus, directory.path("elsewhere"));
  add_encodings(corpus);
  Cost const most = measure_loads(torture, corpus);
  watch_loads(torture, corpus, harmless);
  if (load(corpus.path(0)) != RESULT_SUCCESS) {
    torture.fault("the good file does not load");
  }
  return torture.row("%u files loaded: each within %.0f ms of processor time and %ld MB above an "
                     "empty load, nothing else opened",
                     corpus.size(), most.processor_ms, most.peak_kb / 1024);
}
