// SPDX-License-Identifier: Apache-2.0
// The library tells which values it reads. What it skips is found line by line: mistakes of a file
// that is written by hand.
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <algorithm>
#include <fstream>
#include <set>

namespace Ostrel::Tool {

namespace {

constexpr char const *VARIABLE = "OSTREL_REGISTRY_FILE";
constexpr char const *HEADER = "REGEDIT4";
constexpr char const *KEY = "[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA";

// By the number of the property; that of the settings has none.
std::vector<std::string> const &value_names() {
  static std::vector<std::string> const names = {
      "InstallPath", "",          "DataPath",      "AudioPath",
      "ImagesPath",  "FacesPath", "ModelsetsPath", "SlamLandmarkPath"};
  return names;
}

struct Line {
  long number;
  std::string text;
};

// Without blanks around them, empty lines and comments.
std::vector<Line> read_lines(std::string const &path) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  std::vector<Line> lines;
  std::ifstream file;
  if (status_of(path).is_regular) {
    file.open(path);
  }
  std::string text;
  for (long number = 1; std::getline(file, text); ++number) {
    if (number == 1 && starts_with(text, BYTE_ORDER_MARK)) {
      text.erase(0, BYTE_ORDER_MARK.size());
    }
    std::string const plain(trimmed(text));
    if (!plain.empty() && plain.front() != ';') {
      lines.push_back({number, plain});
    }
  }
  return lines;
}

bool is_section(Line const &line) {
  return line.text.front() == '[';
}

// The closing bracket may be missing.
bool is_section_of_library(Line const &line) {
  std::string const text = lower(line.text), key = lower(KEY);
  return starts_with(text, key) && (text.size() == key.size() || text[key.size()] == ']');
}

// The lines between the section of the library and the next one; it may have several.
std::vector<Line> lines_of_library(std::vector<Line> const &lines) {
  std::vector<Line> own;
  bool is_own = false;
  for (Line const &line : lines) {
    if (is_section(line)) {
      is_own = is_section_of_library(line);
    } else if (is_own) {
      own.push_back(line);
    }
  }
  return own;
}

// The name of the value that a line was meant to have, whether it has quotes or not.
std::string name_in(Line const &line) {
  std::string const text = line.text.substr(line.text.front() == '"' ? 1 : 0);
  return std::string(trimmed(text.substr(0, text.find_first_of("\"=:"))));
}

// Whether the library reads the value, or reads none because a variable comes first.
bool is_read(std::string const &name) {
  auto const &names = value_names();
  auto const number = std::find(names.begin(), names.end(), name) - names.begin();
  std::vector<SearchPathElement> elements;
  Platform::get_search_path_elements(static_cast<Platform::SystemProperty>(number), &elements);
  return std::any_of(elements.begin(), elements.end(), [&name](auto const &element) {
    return element.origin == SearchPathElement::ORIGIN_ENVIRONMENT || element.origin_name == name;
  });
}

// A line of the right form for a value that is not read.
std::string right_line(std::string const &name, std::string const &text) {
  std::size_t const equals = text.find('=');
  std::string path(trimmed(equals == text.npos ? "" : text.substr(equals + 1)));
  path.erase(std::remove(path.begin(), path.end(), '"'), path.end());
  bool const is_path = path.find_first_of("/\\") != path.npos && !starts_with(path, "hex");
  return "\"" + name + "\"=\"" + (is_path ? path : "DIRECTORY") + "\"";
}

class RegistryFile {
public:
  RegistryFile(std::string path, std::vector<Finding> *findings)
      : path_(std::move(path)), lines_(read_lines(path_)), findings_(findings) {}

  void diagnose() {
    if (lines_.empty()) {
      return;
    }
    if (starts_with(lines_.front().text, "\xFF\xFE")) {
      add(0, "the registry file is in UTF-16", std::string("export it as ") + HEADER);
      return;
    }
    if (lines_.front().text != HEADER &&
        !starts_with(lines_.front().text, "Windows Registry Editor")) {
      add(lines_.front().number, "the registry file does not begin with its header",
          std::string("write ") + HEADER);
    }
    if (std::none_of(lines_.begin(), lines_.end(), is_section_of_library)) {
      explain_missing_section();
    }
    for (Line const &line : lines_of_library(lines_)) {
      diagnose_value(line);
    }
  }

private:
  void add(long line, std::string const &what, std::string const &instead) {
    findings_->push_back({path_, line, what, instead});
  }

  void explain_missing_section() {
    auto const other = std::find_if(lines_.begin(), lines_.end(), is_section);
    add(other == lines_.end() ? 0 : other->number,
        "the registry file has no values of the library: their key is another one",
        std::string("write ") + KEY + "]");
  }

  void diagnose_value(Line const &line) {
    std::string const written = name_in(line);
    auto const &names = value_names();
    auto const known =
        std::find_if(names.begin(), names.end(),
                     [&written](std::string const &name) { return lower(name) == lower(written); });
    if (written.empty()) {
      return;
    }
    if (known == names.end()) {
      diagnose_unknown(line.number, written);
    } else if (!is_read(*known)) {
      add(line.number, "the registry value " + *known + " is not read",
          "write " + right_line(*known, line.text));
    } else if (!values_.insert(*known).second) {
      add(line.number, "the registry value " + *known + " stands twice, and the last one counts",
          "remove one of the two");
    }
  }

  void diagnose_unknown(long line, std::string const &name) {
    auto const &names = value_names();
    auto const nearest =
        std::find_if(names.begin(), names.end(), [&name](std::string const &known) {
          return is_misspelling(name, known) || is_abbreviation(name, known) ||
                 have_like_words(words_of(name), words_of(known));
        });
    if (nearest != names.end()) {
      add(line, "unknown registry value '" + name + "'", "write " + *nearest);
    } else if (have_like_words(words_of(name), {"config", "path"})) {
      add(line, "there is no registry value ConfigPath", "set OSTREL_CONFIG_PATH");
    }
  }

  std::string path_;
  std::vector<Line> lines_;
  std::vector<Finding> *findings_;
  std::set<std::string> values_; // so far
};

// What is wrong with the file that the variable names.
std::optional<PathFault> find_file_fault(std::string const &name) {
  if (std::optional<PathFault> fault = find_unexpanded(name)) {
    return fault;
  }
  std::string const path = Platform::native_path(name.c_str());
  FileStatus const status = status_of(path);
  if (!status.exists) {
    return explain_missing(path, "create it, or unset the variable");
  }
  if (status.is_directory) {
    return PathFault{"'" + path + "' is a directory", "name a file"};
  }
  return find_relative(name);
}

} // namespace

std::string registry_file() {
  std::string const named = read_variables()[VARIABLE];
  return Platform::native_path(named.empty() ? OSTBASE_SYSCONF_DIR "/ostrel/registry.reg"
                                             : named.c_str());
}

long find_registry_line(std::string const &name) {
  long number = 0;
  for (Line const &line : lines_of_library(read_lines(registry_file()))) {
    number = lower(name_in(line)) == lower(name) ? line.number : number;
  }
  return number;
}

void diagnose_registry(std::vector<Finding> *findings) {
  std::string const named = read_variables()[VARIABLE], path = registry_file();
  if (!named.empty()) {
    if (std::optional<PathFault> const fault = find_file_fault(named)) {
      findings->push_back({"", 0, std::string(VARIABLE) + ": " + fault->what, fault->instead});
    }
  }
  FileStatus const status = status_of(path);
  if (!status.exists || status.is_directory) {
    return;
  }
  if (!status.is_readable) {
    findings->push_back({path, 0, "the registry file cannot be read", grant("r", path)});
    return;
  }
  if (status.is_world_writable) {
    findings->push_back(
        {path, 0, "every user can write to the registry file", "run chmod o-w " + path});
  }
  RegistryFile(path, findings).diagnose();
}

} // namespace Ostrel::Tool
