// SPDX-License-Identifier: Apache-2.0
// A configuration file from outside: if it loads, all ways to walk it agree, it can be edited and
// saved, and the saved file loads to the same contents.
#include "core/base/config/Configuration.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "fuzz/support/Fuzz.hpp"
#include "tests/support/Files.hpp"

#include <algorithm>
#include <map>
#include <vector>

namespace {

using namespace Ostrel;

std::string const &file() {
  static TemporaryDirectory const directory;
  static std::string const path = directory.path("file.xml");
  return path;
}

bool is_blank(std::string const &text) {
  return text.find_first_not_of(" \t\r\n") == text.npos;
}

std::string without_blanks(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return is_blank({c}); }),
             text.end());
  return text;
}

// How exactly a document is described. A text of only blanks beside sub-keys is lost in a reload;
// it may come from a reference.
enum class Blanks : int { KEPT, LEFT_OUT };

// A source over the unchanged file.
class Loaded {
public:
  Loaded() : result(source.init_source(file().c_str())) {}

  std::vector<void const *> keys() const {
    std::vector<void const *> keys;
    if (void const *const top = source.find_first(nullptr, &ignored_); top != nullptr) {
      collect(top, &keys);
    }
    return keys;
  }

  // Returns all names and texts, and checks that all ways to walk agree.
  std::string describe(Blanks blanks) const {
    void const *const top = source.find_first(nullptr, &ignored_);
    return top == nullptr ? "" : describe_key(top, blanks);
  }

  std::vector<void const *> values(void const *key) const {
    std::vector<void const *> values;
    std::string name, text;
    for (void const *value = source.find_first_value(key, &name, &text); value != nullptr;
         value = source.find_next_value(value, &name, &text)) {
      values.push_back(value);
    }
    return values;
  }

  // The first value of that name; null means the text value.
  std::string value(void const *key, char const *wanted) const {
    std::string text = "no such value";
    Configuration(source).get_value(key, nullptr, wanted, &text);
    return text;
  }

  mutable XmlConfigSource source;
  unsigned long result;

private:
  void collect(void const *key, std::vector<void const *> *keys) const {
    keys->push_back(key);
    for (void const *sub = source.find_first(key, &ignored_); sub != nullptr;
         sub = source.find_next(sub, &ignored_)) {
      collect(sub, keys);
    }
  }

  std::string describe_values(void const *key, Blanks blanks) const {
    std::string all, name, text;
    for (void const *value = source.find_first_value(key, &name, &text); value != nullptr;
         value = source.find_next_value(value, &name, &text)) {
      std::string same_name = "stale", same_text = "stale";
      require(source.get_value_data(value, &same_name, &same_text) && same_name == name &&
                  same_text == text,
              "a value's own data");
      bool const is_exact = blanks == Blanks::KEPT || !name.empty();
      all += "[" + name + "=" + (is_exact ? text : without_blanks(text)) + "]";
    }
    return all;
  }

  std::string describe_key(void const *key, Blanks blanks) const {
    Configuration const facade(source);
    std::string name = "stale", sub_name;
    require(source.get_key_name(key, &name), "a key without a name");
    std::string all = name;
    std::vector<std::string> names;
    std::map<std::string, int> indices; // of the next child, by name
    for (void const *sub = source.find_first(key, &sub_name); sub != nullptr;
         sub = source.find_next(sub, &sub_name)) {
      std::string const place = ":" + std::to_string(names.size());
      require(facade.find_key(key, place.c_str()) == sub, "another key by its number");
      void const *found = nullptr; // texts, comments and instructions count, too
      do {
        found = source.find_indexed_sub_key(key, sub_name.c_str(), indices[sub_name]++);
      } while (found != nullptr && found != sub);
      require(found == sub, "another key by its name");
      names.push_back(sub_name);
      all += "{" + describe_key(sub, blanks) + "}";
    }
    // Blanks may be omitted beside sub-keys, but not in a key without sub-keys.
    return all + describe_values(key, names.empty() ? Blanks::KEPT : blanks);
  }

  mutable std::string ignored_;
};

// Edits the loaded document as the input describes.
class Editor {
public:
  Editor(Loaded &loaded, Blanks blanks) : loaded_(loaded), blanks_(blanks) {}

  void edit(Input &input);

  // How exactly a reload must match from now on.
  Blanks blanks() const { return blanks_; }

private:
  void set(void const *key, char const *name, std::string const &text);
  void create(void const *key, std::string const &name);
  void delete_key(void const *key);
  void delete_value(void const *value);

  Loaded &loaded_;
  Blanks blanks_;
};

void Editor::set(void const *key, char const *name, std::string const &text) {
  std::string const before = loaded_.describe(Blanks::KEPT);
  unsigned long const result = loaded_.source.set_value(key, name, text.c_str(), /*commit=*/false);
  if (result == RESULT_SUCCESS) {
    require(loaded_.value(key, name) == text, "what was set does not come back");
  } else {
    require(result == RESULT_INVALID_ARGUMENT, "result %lu of set_value", result);
    require(loaded_.describe(Blanks::KEPT) == before, "a failure changed something");
  }
}

void Editor::create(void const *key, std::string const &name) {
  std::string const before = loaded_.describe(Blanks::KEPT);
  std::string const text = loaded_.value(key, nullptr);
  blanks_ = !text.empty() && is_blank(text) ? Blanks::LEFT_OUT : blanks_;
  void const *const made = loaded_.source.create_key(key, name.c_str(), /*commit=*/false);
  std::string made_name;
  require(made != nullptr ? loaded_.source.get_key_name(made, &made_name) && made_name == name
                          : loaded_.describe(Blanks::KEPT) == before,
          "a key is made otherwise");
}

void Editor::delete_key(void const *key) {
  std::size_t const count = loaded_.keys().size();
  require(loaded_.source.delete_key(key) == RESULT_SUCCESS, "no deletion of a key");
  require(loaded_.keys().size() < count, "a key is still there");
}

void Editor::delete_value(void const *value) {
  std::string const before = loaded_.describe(Blanks::KEPT);
  std::string name, text;
  loaded_.source.get_value_data(value, &name, &text);
  unsigned long const result = loaded_.source.delete_value(value);
  require(result == (name.empty() ? RESULT_FAILURE : RESULT_SUCCESS), "result %lu of delete_value",
          result);
  require((loaded_.describe(Blanks::KEPT) == before) == name.empty(), "a value is still there");
}

void Editor::edit(Input &input) {
  unsigned int const operation = input.take_number(5);
  unsigned int const number = input.take_number(32);
  std::vector<void const *> const keys = loaded_.keys();
  void const *const key = keys[number % keys.size()];
  switch (operation) {
  case 0:
    return set(key, nullptr, input.take_text());
  case 1: {
    std::string const name = input.take_text();
    return set(key, name.c_str(), input.take_text());
  }
  case 2:
    return create(key, input.take_text());
  case 3:
    return key == keys.front() ? void() : delete_key(key);
  default: {
    std::vector<void const *> const values = loaded_.values(key);
    return delete_value(values[input.take_number(32) % values.size()]);
  }
  }
}

// The line of each key, if it is known, has the key's tag.
void check_lines(Loaded const &loaded, std::string const &content) {
  if (content.find("encoding") != content.npos || content.find('\0') != content.npos) {
    return; // it may be another encoding than UTF-8
  }
  std::vector<std::string> lines(1);
  for (char const c : content) {
    c == '\n' ? void(lines.emplace_back()) : lines.back().push_back(c);
  }
  for (void const *key : loaded.keys()) {
    std::string name, path;
    long line = -1;
    require(loaded.source.get_key_name(key, &name), "a key without a name");
    require(loaded.source.get_location(key, &path, &line) == RESULT_SUCCESS && line >= 0 &&
                static_cast<std::size_t>(line) <= lines.size(),
            "line %ld of a key", line);
    std::string const &text = line == 0 ? '<' + name : lines[static_cast<std::size_t>(line) - 1];
    std::size_t const tag = text.find('<');
    require(tag != text.npos && text.find(name, tag) != text.npos, "no key '%s' in line %ld: %s",
            name.c_str(), line, text.c_str());
  }
}

// Saves the document, and loads it again.
void check_save(Loaded &loaded, Blanks blanks) {
  std::string const before = loaded.describe(blanks);
  require(loaded.source.commit() == RESULT_SUCCESS, "no save");
  require(loaded.describe(blanks) == before, "a save changed what is loaded");
  std::string const saved = read_file(file());
  Loaded again;
  require(again.result == RESULT_SUCCESS, "what was saved does not load");
  std::string const after = again.describe(blanks);
  check_lines(loaded, saved);
  check_lines(again, saved);
  require(after == before, "another document:\n%s\n%s", after.c_str(), before.c_str());
  require(again.source.get_config_root() == loaded.source.get_config_root(), "another root");
  require(again.source.commit() == RESULT_SUCCESS, "no second save");
  require(blanks == Blanks::LEFT_OUT || read_file(file()) == saved, "another file:\n%s\n%s",
          read_file(file()).c_str(), saved.c_str());
}

} // namespace

void fuzz(Input input) {
  silence_logging();
  std::string const document(input.take_until("\n==\n"));
  write_file(file(), document);
  Loaded loaded;
  if (loaded.result != RESULT_SUCCESS) {
    require(loaded.result == RESULT_FAILURE && loaded.keys().empty(), "result %lu", loaded.result);
    return;
  }
  require(loaded.describe(Blanks::KEPT) == loaded.describe(Blanks::KEPT), "two walks differ");
  check_lines(loaded, document);
  Blanks const blanks = document.find('&') == document.npos ? Blanks::KEPT : Blanks::LEFT_OUT;
  check_save(loaded, blanks);
  Editor editor(loaded, blanks);
  constexpr int MOST_EDITS = 12;
  for (int i = 0; i < MOST_EDITS && !input.is_at_end(); ++i) {
    editor.edit(input);
  }
  check_save(loaded, editor.blanks());
}
