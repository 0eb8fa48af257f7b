// SPDX-License-Identifier: Apache-2.0
// Key paths in every spelling name the documented keys: two facades, one over a source with an
// index and one over a source that is walked, have the same results.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "fuzz/support/Fuzz.hpp"
#include "tests/support/Files.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using namespace Ostrel;

// A source of another class for the facade, which walks it.
class WalkedSource final : public XmlConfigSource {};

// One operation of an input; "~" means null.
struct Step {
  unsigned int operation;
  unsigned int key; // its number in the document
  std::string path, name, text;

  static char const *as_argument(std::string const &text) {
    return text == "~" ? nullptr : text.c_str();
  }
  char const *path_argument() const { return as_argument(path); }
  char const *name_argument() const { return as_argument(name); }
  char const *text_argument() const { return as_argument(text); }
};

// A facade and its source; every operation is recorded as text.
class Subject {
public:
  Subject(XmlConfigSource &source, std::string const &file) : source_(source), facade_(source) {
    source_.create_source(XmlConfigSource::CREATE_GIVEN_PATH, file.c_str(), "U");
    void const *const top = facade_.find_key("U");
    for (char const *name : {"A", "C", "A", "Series", "A"}) {
      void const *const key = source_.create_key(top, name, false);
      for (char const *below : {"B", "D", "B"}) {
        source_.set_value(source_.create_key(key, below, false), "v", below, false);
      }
      source_.set_value(key, "v", name, false);
      source_.set_value(key, "n", "12 -3:4 x", false);
    }
  }

  std::string run(Step const &step);
  std::string describe() const;
  void check_spellings(std::string const &path) const;

private:
  std::vector<void const *> keys() const;
  void collect(void const *key, std::vector<void const *> *keys) const;
  std::string number_of(void const *key) const;
  void const *sub_key(void const *key, std::string_view name, long index) const;
  void const *expected_key(void const *key, std::string_view path) const;
  void const *key(unsigned int number) const;

  std::string get_all(Step const &step) const;
  template <class Number> std::string get_number(Step const &step) const;
  std::string get_series(Step const &step) const;
  std::string set(Step const &step);
  std::string delete_key(Step const &step);

  XmlConfigSource &source_;
  Configuration facade_;
};

void Subject::collect(void const *key, std::vector<void const *> *keys) const {
  keys->push_back(key);
  std::string name;
  for (void const *sub = source_.find_first(key, &name); sub != nullptr;
       sub = source_.find_next(sub, &name)) {
    collect(sub, keys);
  }
}

// In document order.
std::vector<void const *> Subject::keys() const {
  std::vector<void const *> keys;
  std::string name;
  if (void const *const top = source_.find_first(nullptr, &name); top != nullptr) {
    collect(top, &keys);
  }
  return keys;
}

std::string Subject::number_of(void const *key) const {
  if (key == nullptr) {
    return "no key";
  }
  std::vector<void const *> const all = keys();
  auto const found = std::find(all.begin(), all.end(), key);
  require(found != all.end(), "a handle of no key");
  return "key " + std::to_string(found - all.begin());
}

void const *Subject::key(unsigned int number) const {
  std::vector<void const *> const all = keys();
  return number < all.size() ? all[number] : nullptr;
}

std::string Subject::describe() const {
  std::string all;
  for (void const *const key : keys()) {
    std::string name, text;
    source_.get_key_name(key, &name);
    all += name + ":";
    for (void const *value = source_.find_first_value(key, &name, &text); value != nullptr;
         value = source_.find_next_value(value, &name, &text)) {
      all += "[" + name + "=" + text + "]";
    }
  }
  return all;
}

void const *Subject::sub_key(void const *key, std::string_view name, long index) const {
  std::string found;
  void const *sub = source_.find_first(key, &found);
  for (; sub != nullptr; sub = source_.find_next(sub, &found)) {
    bool const is_one = name.empty() || found == name;
    if (is_one && index <= 0) {
      break;
    }
    index -= is_one ? 1 : 0;
  }
  return sub;
}

// The documented meaning of a path.
void const *Subject::expected_key(void const *key, std::string_view path) const {
  constexpr std::string_view SEPARATORS = "/\\";
  path.remove_prefix(std::min(path.find_first_not_of(SEPARATORS), path.size()));
  if (path.empty()) {
    return key;
  }
  std::string_view const name = path.substr(0, path.find_first_of("/\\:"));
  path.remove_prefix(name.size());
  long index = 0;
  if (!path.empty() && path.front() == ':') {
    std::string const number(path.substr(1));
    char *end = nullptr;
    index = std::strtol(number.c_str(), &end, 10);
    path.remove_prefix(1 + static_cast<std::size_t>(end - number.c_str()));
  }
  void const *const sub = index > INT_MAX ? nullptr : sub_key(key, name, index);
  bool const goes_on = sub != nullptr && path.find_first_of(SEPARATORS) == 0;
  return goes_on ? expected_key(sub, path) : sub;
}

// A path, and another spelling of the same key.
void Subject::check_spellings(std::string const &path) const {
  void const *const found = facade_.find_key(path.c_str());
  require(found == expected_key(nullptr, path), "another key than is said");
  require(found == facade_.find_key(nullptr, path.c_str()), "another key from above the top");
  std::string turned = path, doubled;
  for (char &character : turned) {
    character = character == '/' ? '\\' : character == '\\' ? '/' : character;
    doubled += character;
    doubled += character == '/' || character == '\\' ? "\\/" : "";
  }
  require(found == facade_.find_key(turned.c_str()), "the kind of separator matters");
  require(found == facade_.find_key(doubled.c_str()), "the number of separators matters");
  require(found == facade_.find_key(("/" + path).c_str()), "a separator in front matters");
  // Another character than a separator after an index ends the path: nothing may be inserted there.
  for (std::size_t at = path.find_first_of("/\\"); at != path.npos && at < path.find(':');
       at = path.find_first_of("/\\", at + 1)) {
    std::string const first = path.substr(0, at), rest = path.substr(at + 1);
    void const *const half_way = facade_.find_key(first.c_str());
    bool const is_nowhere = half_way == nullptr && first.find_first_not_of("/\\") != first.npos;
    void const *const in_two_steps =
        is_nowhere ? nullptr : facade_.find_key(half_way, rest.c_str());
    require(found == in_two_steps, "another key in two steps");
  }
  std::string name = "stale";
  std::string const last = path.substr(path.find_last_of("/\\") + 1);
  bool const has_plain_end = !last.empty() && path.find(':') == path.npos;
  require(found == nullptr || !has_plain_end ||
              (source_.get_key_name(found, &name) && name == last),
          "a key of another name");
}

template <class Number> std::string Subject::get_number(Step const &step) const {
  constexpr Number UNTOUCHED = 4711;
  Number number = UNTOUCHED, other = UNTOUCHED;
  unsigned long const result =
      facade_.get_value(step.path_argument(), step.name_argument(), &number);
  require(result == RESULT_SUCCESS || number == UNTOUCHED, "a failure changed a number");
  void const *const key = facade_.find_key(step.path_argument());
  require(facade_.get_value(key, nullptr, step.name_argument(), &other) == result,
          "another result by handle");
  require(std::to_string(other) == std::to_string(number), "another number by handle");
  return std::to_string(number) + ";";
}

std::string Subject::get_all(Step const &step) const {
  std::string text = "untouched";
  unsigned long const result = facade_.get_value(step.path_argument(), step.name_argument(), &text);
  require(result == RESULT_SUCCESS || text == "untouched", "a failure changed a text");
  return std::to_string(result) + ":" + text + ";" + get_number<long>(step) +
         get_number<unsigned long>(step) + get_number<double>(step);
}

std::string Subject::get_series(Step const &step) const {
  constexpr unsigned int CAPACITY = 16;
  std::vector<long> array(CAPACITY, -1);
  unsigned int count = CAPACITY;
  unsigned long const result =
      facade_.get_series(step.path_argument(), step.name_argument(), array.data(), &count);
  require(result == RESULT_SUCCESS || count == CAPACITY, "a failure changed a count");
  std::string all = std::to_string(result) + ":" + std::to_string(count);
  for (long const number : array) {
    all += " " + std::to_string(number);
  }
  return all;
}

std::string Subject::set(Step const &step) {
  unsigned long const result = facade_.set_value(step.path_argument(), step.name_argument(),
                                                 step.text_argument(), /*commit=*/false);
  std::string text;
  require(result != RESULT_SUCCESS || (facade_.get_value(step.path_argument(), step.name_argument(),
                                                         &text) == RESULT_SUCCESS &&
                                       text == step.text),
          "what was set does not come back");
  return std::to_string(result);
}

std::string Subject::delete_key(Step const &step) {
  std::size_t const count = keys().size();
  unsigned long const result = facade_.delete_key(step.path_argument());
  require((result == RESULT_INVALID_ARGUMENT) == (keys().size() == count), "result %lu", result);
  return std::to_string(result);
}

std::string Subject::run(Step const &step) {
  switch (step.operation) {
  case 0:
    check_spellings(step.path);
    return number_of(facade_.find_key(step.path_argument()));
  case 1: {
    void const *const found = facade_.find_key(key(step.key), step.path_argument());
    require(found == expected_key(key(step.key), step.path == "~" ? "" : step.path),
            "another key below a key than is said");
    return number_of(found);
  }
  case 2:
    return get_all(step);
  case 3:
    return set(step);
  case 4:
    return number_of(facade_.create_sub_key(key(step.key), step.path_argument(), false));
  case 5:
    return number_of(facade_.create_key(step.path_argument()));
  case 6:
    return delete_key(step);
  case 7:
    return std::to_string(facade_.delete_value(step.path_argument(), step.name_argument()));
  case 8:
    return number_of(facade_.find_key_with_value(step.path_argument(), step.name_argument(),
                                                 step.text_argument())) +
           number_of(facade_.find_key_with_value(key(step.key), step.path_argument(),
                                                 step.name_argument(), step.text_argument()));
  default:
    return get_series(step);
  }
}

// Whether a path would create so many keys that it is slow.
bool asks_for_many(std::string const &path) {
  constexpr long MANY = 8;
  for (std::size_t at = path.find(':'); at != path.npos; at = path.find(':', at + 1)) {
    long const index = std::strtol(path.c_str() + at + 1, nullptr, 10);
    if (index > MANY && index <= INT_MAX) {
      return true;
    }
  }
  return false;
}

Step take_step(Input &input) {
  constexpr unsigned int OPERATIONS = 10;
  constexpr unsigned int KEYS = 24;
  Step step;
  step.operation = input.take_number(OPERATIONS);
  step.key = input.take_number(KEYS);
  step.path = input.take_text();
  step.name = input.take_text();
  step.text = input.take_text();
  return step;
}

} // namespace

void fuzz(Input input) {
  silence_logging();
  static TemporaryDirectory const directory;
  XmlConfigSource indexed_source;
  WalkedSource walked_source;
  Subject indexed(indexed_source, directory.path("indexed.xml"));
  Subject walked(walked_source, directory.path("walked.xml"));
  constexpr int MOST_STEPS = 12;
  for (int i = 0; i < MOST_STEPS && !input.is_at_end(); ++i) {
    Step const step = take_step(input);
    bool const creates = step.operation == 4 || step.operation == 5;
    if (creates && asks_for_many(step.path)) {
      continue;
    }
    std::string const result = indexed.run(step), walked_result = walked.run(step);
    require(result == walked_result, "operation %u on '%s': %s, walking %s", step.operation,
            step.path.c_str(), result.c_str(), walked_result.c_str());
  }
  require(indexed.describe() == walked.describe(), "the documents have parted");
}
