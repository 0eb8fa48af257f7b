// SPDX-License-Identifier: Apache-2.0
// Generated names and texts are set in sources, saved and loaded. Most are generated as valid or
// invalid on purpose, and must be accepted or refused accordingly. Accepted ones are loaded byte
// for byte; refused ones change nothing.
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "tests/support/Files.hpp"
#include "torture/support/Torture.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace Ostrel;
using namespace std::string_view_literals;

constexpr unsigned int SETS_PER_FILE = 2000;
constexpr std::size_t LONGEST_NAME = 50000; // bytes

// --- Names and texts --------------------------------------------------------------------------

enum class Fate { ACCEPTED, REFUSED, EITHER };

struct Generated {
  std::string text;
  Fate fate;
};

// The borders of the ranges that XML 1.0 has for names and texts, and special characters.
constexpr std::string_view NAME_START[] = {"a"sv,
                                           "z"sv,
                                           "A"sv,
                                           "Z"sv,
                                           "_"sv,
                                           ":"sv,
                                           "\xC3\x80"sv,
                                           "\xC3\x96"sv,
                                           "\xC3\x98"sv,
                                           "\xC3\xB8"sv,
                                           "\xCB\xBF"sv,
                                           "\xCD\xB0"sv,
                                           "\xCD\xBF"sv,
                                           "\xE1\xBF\xBF"sv,
                                           "\xE2\x80\x8C"sv,
                                           "\xE2\x81\xB0"sv,
                                           "\xE2\xB0\x80"sv,
                                           "\xE3\x80\x81"sv,
                                           "\xED\x9F\xBF"sv,
                                           "\xEF\xA4\x80"sv,
                                           "\xEF\xB7\xB0"sv,
                                           "\xEF\xBF\xBD"sv,
                                           "\xF0\x90\x80\x80"sv,
                                           "\xF3\xAF\xBF\xBF"sv,
                                           "xml"sv,
                                           "xmlns"sv};
constexpr std::string_view NAME_MORE[] = {"-"sv,        "."sv,        "0"sv,           "9"sv,
                                          "\xC2\xB7"sv, "\xCC\x80"sv, "\xE2\x80\xBF"sv};
constexpr std::string_view NO_NAME[] = {" "sv,
                                        "\t"sv,
                                        "\n"sv,
                                        "<"sv,
                                        ">"sv,
                                        "&"sv,
                                        "\""sv,
                                        "'"sv,
                                        "="sv,
                                        "/"sv,
                                        "@"sv,
                                        "\x01"sv,
                                        "\x7F"sv,
                                        "\xC3\x97"sv,
                                        "\xC3\xB7"sv,
                                        "\xCD\xBE"sv,
                                        "\xE2\x80\x80"sv,
                                        "\xE3\x80\x80"sv,
                                        "\xEF\xB7\x90"sv,
                                        "\xF3\xB0\x80\x80"sv};
constexpr std::string_view RESERVED[] = {""sv,       "xmlns"sv, "xmlns:a"sv,
                                         "xmlns:"sv, "xml:a"sv, "xml:"sv};
constexpr std::string_view TEXT[] = {"a"sv,
                                     " "sv,
                                     "\t"sv,
                                     "\n"sv,
                                     "\r"sv,
                                     "\r\n"sv,
                                     "<"sv,
                                     ">"sv,
                                     "&"sv,
                                     "\""sv,
                                     "'"sv,
                                     "&amp;"sv,
                                     "&#0;"sv,
                                     "&e;"sv,
                                     "%e;"sv,
                                     "]]>"sv,
                                     "<![CDATA["sv,
                                     "<!--"sv,
                                     "-->"sv,
                                     "<?"sv,
                                     "%s"sv,
                                     "\x7F"sv,
                                     "\xC2\x80"sv,
                                     "\xC2\x85"sv,
                                     "\xC2\xA0"sv,
                                     "\xC3\xA9"sv,
                                     "\xE2\x80\xA8"sv,
                                     "\xEF\xBB\xBF"sv,
                                     "\xED\x9F\xBF"sv,
                                     "\xEE\x80\x80"sv,
                                     "\xEF\xBF\xBD"sv,
                                     "\xF0\x90\x80\x80"sv,
                                     "\xF4\x8F\xBF\xBF"sv};
constexpr std::string_view FORBIDDEN[] = {
    "\x01"sv, "\x08"sv, "\x0B"sv, "\x0C"sv, "\x0E"sv, "\x1F"sv, "\xEF\xBF\xBE"sv, "\xEF\xBF\xBF"sv,
    // Not UTF-8: overlong, a surrogate, beyond U+10FFFF, cut off, without a first byte.
    "\xC0\x80"sv, "\xE0\x80\x80"sv, "\xED\xA0\x80"sv, "\xED\xBF\xBF"sv, "\xF4\x90\x80\x80"sv,
    "\xF8\x88\x80\x80\x80"sv, "\xE2\x82"sv, "\xC3"sv, "\xF0\x90\x80"sv, "\x80"sv, "\xFF"sv,
    "\xFE"sv};

class Generator {
public:
  // True once in `times` calls, at random.
  bool once_in(unsigned int times) { return below(times) == 0; }
  std::size_t below(std::size_t count) { return random_() % count; }

  Generated name() {
    switch (below(16)) {
    case 0:
      return {random_bytes(), Fate::EITHER};
    case 1:
      return {std::string(pick(RESERVED)), Fate::REFUSED};
    case 2:
      return {std::string(pick(NAME_MORE)) + valid_name(), Fate::REFUSED};
    case 3:
      return {with(pick(NO_NAME), valid_name()), Fate::REFUSED};
    case 4:
      return {with(pick(FORBIDDEN), valid_name()), Fate::REFUSED};
    default:
      return long_or_short_name();
    }
  }

  Generated text() {
    switch (below(16)) {
    case 0:
      return {random_bytes(), Fate::EITHER};
    case 1:
    case 2:
      return {with(pick(FORBIDDEN), valid_text()), Fate::REFUSED};
    default:
      return {valid_text(), Fate::ACCEPTED};
    }
  }

private:
  template <std::size_t COUNT> std::string_view pick(std::string_view const (&parts)[COUNT]) {
    return parts[below(COUNT)];
  }

  // Mostly short, sometimes long.
  std::size_t length() {
    return once_in(1000) ? below(20000) : once_in(10) ? below(300) : below(12);
  }

  std::string random_bytes() {
    std::string bytes(length(), '\0');
    std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(1 + below(255)); });
    return bytes;
  }

  std::string valid_name() {
    std::string name(pick(NAME_START));
    for (std::size_t more = length() / 4; more > 0; --more) {
      name += once_in(3) ? pick(NAME_MORE) : pick(NAME_START);
    }
    bool const is_reserved =
        name == "xmlns" || name.rfind("xmlns:", 0) == 0 || name.rfind("xml:", 0) == 0;
    return is_reserved ? "_" + name : name;
  }

  Generated long_or_short_name() {
    std::string name = valid_name();
    if (once_in(5000)) {
      name.resize(LONGEST_NAME + below(2), '.');
    }
    bool const fits = name.size() <= LONGEST_NAME && std::count(name.begin(), name.end(), ':') < 2;
    return {std::move(name), fits ? Fate::ACCEPTED : Fate::REFUSED};
  }

  std::string valid_text() {
    std::string text;
    for (std::size_t more = length(); more > 0; --more) {
      text += pick(TEXT);
    }
    return text;
  }

  // Inserts the part at a random place between two characters.
  std::string with(std::string_view part, std::string text) {
    std::size_t at = below(text.size() + 1);
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) {
      ++at;
    }
    return text.insert(at, part);
  }

  std::mt19937 random_; // the same in each run
};

// --- The expected contents of a file ----------------------------------------------------------

struct Key {
  std::string name, text;
  std::vector<std::pair<std::string, std::string>> values;
  std::vector<std::unique_ptr<Key>> sub_keys;
  void const *handle;

  // All text inside.
  std::string content() const {
    std::string all = text;
    for (auto const &sub_key : sub_keys) {
      all += sub_key->content();
    }
    return all;
  }

  void set(std::string const &value, std::string const &new_text) {
    auto const found = std::find_if(values.begin(), values.end(),
                                    [&](auto const &known) { return known.first == value; });
    if (found == values.end()) {
      values.emplace_back(value, new_text);
    } else {
      found->second = new_text;
    }
  }
};

std::string measured(std::string const &text) {
  return std::to_string(text.size()) + ":" + text;
}

std::string described(Key const &key) {
  std::string all = measured(key.name) + measured("") + measured(key.content());
  for (auto const &[name, text] : key.values) {
    all += measured(name) + measured(text);
  }
  for (auto const &sub_key : key.sub_keys) {
    all += "{" + described(*sub_key) + "}";
  }
  return all;
}

std::string described(XmlConfigSource const &source, void const *key) {
  std::string name, text, all;
  source.get_key_name(key, &name);
  all = measured(name);
  for (void const *value = source.find_first_value(key, &name, &text); value != nullptr;
       value = source.find_next_value(value, &name, &text)) {
    all += measured(name) + measured(text);
  }
  for (void const *sub_key = source.find_first(key, &name); sub_key != nullptr;
       sub_key = source.find_next(sub_key, &name)) {
    all += "{" + described(source, sub_key) + "}";
  }
  return all;
}

// --- One file ---------------------------------------------------------------------------------

constexpr std::string_view FILES[] = {"<R/>"sv, "<?xml version='1.0' encoding='UTF-8'?><R/>"sv,
                                      "\xFF\xFE<\0R\0/\0>\0"sv, // UTF-16
                                      "<?xml version='1.0' encoding='ISO-8859-1'?><R/>"sv,
                                      "<?xml version='1.0' encoding='US-ASCII'?><R/>"sv};

class Run {
public:
  explicit Run(Torture &torture) : torture_(torture) {}

  // Fills a file, saves and loads it.
  void fill_file();

  unsigned int sets() const { return sets_; }
  unsigned int accepted() const { return accepted_; }

private:
  void create_key(XmlConfigSource &source, Key &parent);
  void set_value(XmlConfigSource &source, Key &key);
  void judge(bool is_accepted, Fate fate, char const *what, std::string const &text);

  Torture &torture_;
  TemporaryDirectory directory_;
  Generator generator_;
  std::vector<Key *> keys_; // of the current file
  unsigned int files_ = 0, sets_ = 0, accepted_ = 0;
};

void Run::judge(bool is_accepted, Fate fate, char const *what, std::string const &text) {
  accepted_ += is_accepted ? 1 : 0;
  if (fate != Fate::EITHER && is_accepted != (fate == Fate::ACCEPTED)) {
    torture_.fault("%s %s: '%.60s', %zu bytes", what, is_accepted ? "accepted" : "refused",
                   text.c_str(), text.size());
  }
}

void Run::create_key(XmlConfigSource &source, Key &parent) {
  Generated const name = generator_.name();
  void const *const handle = source.create_key(parent.handle, name.text.c_str(), false);
  judge(handle != nullptr, name.fate, "a key is", name.text);
  if (handle != nullptr) {
    parent.sub_keys.push_back(std::make_unique<Key>(Key{name.text, "", {}, {}, handle}));
    keys_.push_back(parent.sub_keys.back().get());
  }
}

// Sets a named value, or the text of a key without sub-keys.
void Run::set_value(XmlConfigSource &source, Key &key) {
  bool const is_text_value = key.sub_keys.empty() && generator_.once_in(4);
  Generated const name = is_text_value ? Generated{"", Fate::ACCEPTED} : generator_.name();
  Generated const text = generator_.text();
  unsigned long const result = source.set_value(
      key.handle, is_text_value ? nullptr : name.text.c_str(), text.text.c_str(), false);
  Fate const fate_of_text = text.fate, fate = name.fate;
  bool const is_refused = fate == Fate::REFUSED || fate_of_text == Fate::REFUSED;
  bool const is_sure = fate == Fate::ACCEPTED && fate_of_text == Fate::ACCEPTED;
  judge(result == RESULT_SUCCESS,
        is_refused ? Fate::REFUSED
        : is_sure  ? Fate::ACCEPTED
                   : Fate::EITHER,
        "a value is", name.text + "=" + text.text);
  if (result == RESULT_SUCCESS) {
    is_text_value ? static_cast<void>(key.text = text.text) : key.set(name.text, text.text);
  } else if (result != RESULT_INVALID_ARGUMENT) {
    torture_.fault("a value is refused with %lu: '%.60s'", result, name.text.c_str());
  }
}

void Run::fill_file() {
  std::string_view const file = FILES[files_++ % std::size(FILES)];
  std::string const path = directory_.path("file.xml");
  write_file(path, std::string(file));
  XmlConfigSource source;
  std::string ignored;
  unsigned long const opened = source.init_source(path.c_str());
  Key top = {"R", "", {}, {}, source.find_first(nullptr, &ignored)};
  keys_ = {&top};
  for (unsigned int i = 0; i < SETS_PER_FILE; ++i, ++sets_) {
    Key &key = *keys_[generator_.below(keys_.size())];
    // A text of only blanks is lost once there is a sub-key.
    bool const keeps_text =
        key.text.empty() || key.text.find_first_not_of(" \t\r\n") != key.text.npos;
    keeps_text &&generator_.once_in(3) ? create_key(source, key) : set_value(source, key);
  }
  std::string const expected = described(top);
  bool const holds = described(source, top.handle) == expected;
  unsigned long const saved = source.commit();
  XmlConfigSource again;
  unsigned long const loaded = again.init_source(path.c_str());
  bool const comes_back =
      loaded == RESULT_SUCCESS && described(again, again.find_first(nullptr, &ignored)) == expected;
  if (opened != RESULT_SUCCESS || !holds || saved != RESULT_SUCCESS || !comes_back) {
    torture_.fault("file %u: opened %lu, %s, saved %lu, loaded %lu, %s", files_, opened,
                   holds ? "holds all" : "holds other texts", saved, loaded,
                   comes_back ? "comes back" : "other texts come back");
  }
}

} // namespace

int torture() {
  Torture torture("A set never makes the file unreadable");
  LoggingCategory::get_instance("Ostrel.Core.Base.XmlConfigSource")
      .set_priority(LoggingPriority::ERROR); // of refusals
  Run run(torture);
  for (unsigned int i = rounds(1000000 / SETS_PER_FILE); i > 0; --i) {
    run.fill_file();
  }
  return torture.row("%u names and texts set, %u of them accepted", run.sets(), run.accepted());
}
