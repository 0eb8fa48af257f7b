// SPDX-License-Identifier: Apache-2.0
// The registry file is read line by line, for the mistakes of files that are written by hand: the
// library skips what it does not understand.
#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/FileStatus.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <fstream>

namespace Ostrel::Tool {

namespace {

constexpr char const *VARIABLE = "OSTREL_REGISTRY_FILE";
constexpr char const *HEADER = "REGEDIT4";
constexpr char const *KEY = "[HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA]";

std::vector<std::string> const &value_names() {
  static std::vector<std::string> const names = {"InstallPath",     "DataPath",  "AudioPath",
                                                 "ImagesPath",      "FacesPath", "ModelsetsPath",
                                                 "SlamLandmarkPath"};
  return names;
}

struct Line {
  long number;
  std::string text;
};

// A value "NAME"="TEXT".
struct Value {
  std::string name, text;
  bool is_quoted = false; // both
};

std::vector<Line> read_lines(std::string const &path) {
  std::vector<Line> lines;
  std::ifstream file;
  if (status_of(path).is_regular) {
    file.open(path);
  }
  std::string text;
  for (long number = 1; std::getline(file, text); ++number) {
    std::string const plain(trimmed(text));
    if (!plain.empty() && plain.front() != ';') {
      lines.push_back({number, plain});
    }
  }
  return lines;
}

bool is_key(std::string const &text) {
  return lower(text) == lower(KEY);
}

std::string without_quotes(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '"'), text.end());
  return text;
}

Value read_value(std::string const &line) {
  std::size_t const equals = line.find('=');
  std::string const name(trimmed(line.substr(0, equals)));
  std::string const text(equals == line.npos ? "" : trimmed(line.substr(equals + 1)));
  bool const is_quoted = starts_with(name, "\"") && ends_with(name, "\"") &&
                         starts_with(text, "\"") && ends_with(text, "\"") && text.size() > 1;
  std::string plain = without_quotes(text);
  for (std::size_t at = plain.find("\\\\"); at != plain.npos; at = plain.find("\\\\", at + 1)) {
    plain.erase(at, 1);
  }
  return {without_quotes(name), plain, is_quoted};
}

class RegistryFile {
public:
  RegistryFile(std::string path, std::vector<Finding> *findings)
      : path_(std::move(path)), lines_(read_lines(path_)), findings_(findings) {}

  void diagnose() {
    if (lines_.empty() || starts_with(lines_.front().text, "\xFF\xFE")) {
      add(0, "the registry file is empty or in UTF-16", std::string("export it as ") + HEADER);
      return;
    }
    bool const has_header = lines_.front().text == HEADER ||
                            starts_with(lines_.front().text, "Windows Registry Editor");
    if (!has_header) {
      add(lines_.front().number, "the registry file does not begin with its header",
          std::string("write ") + HEADER);
    }
    auto const key = std::find_if(lines_.begin(), lines_.end(),
                                  [](Line const &line) { return is_key(line.text); });
    if (key == lines_.end()) {
      explain_missing_key();
    }
    for (auto line = key; line != lines_.end() && (line == key || line->text[0] != '['); ++line) {
      if (line != key) {
        diagnose_value(*line);
      }
    }
  }

private:
  void add(long line, std::string const &what, std::string const &instead) {
    findings_->push_back({path_, line, what, instead});
  }

  void explain_missing_key() {
    auto const other = std::find_if(lines_.begin(), lines_.end(),
                                    [](Line const &line) { return line.text[0] == '['; });
    add(other == lines_.end() ? 0 : other->number,
        "the registry file has no values of the library: their key is another one",
        std::string("write ") + KEY);
  }

  // A line without '=' that has the name of a value.
  void diagnose_damaged(Line const &line) {
    for (std::string const &name : value_names()) {
      if (lower(line.text).find(lower(name)) != line.text.npos) {
        add(line.number, "the registry value " + name + " has no '='",
            "write \"" + name + "\"=\"DIRECTORY\"");
      }
    }
  }

  void diagnose_value(Line const &line) {
    if (line.text.find('=') == line.text.npos) {
      diagnose_damaged(line);
      return;
    }
    Value const value = read_value(line.text);
    auto const &names = value_names();
    std::string const *const nearest = find_misspelt(value.name, names);
    auto const known = std::find_if(names.begin(), names.end(), [&value](std::string const &name) {
      return lower(name) == lower(value.name);
    });
    if (known == names.end()) {
      if (lower(value.name) == "configpath") {
        add(line.number, "there is no registry value ConfigPath", "set OSTREL_CONFIG_PATH");
      } else if (nearest != nullptr) {
        add(line.number, "unknown registry value '" + value.name + "'", "write " + *nearest);
      }
      return;
    }
    if (!value.is_quoted) {
      bool const is_path =
          value.text.find_first_of("/\\") != value.text.npos && !starts_with(value.text, "hex");
      add(line.number, "the registry value " + value.name + " is not a text in quotes",
          "write \"" + *known + "\"=\"" + (is_path ? value.text : "DIRECTORY") + "\"");
      return;
    }
    diagnose_directories(line, value);
  }

  void diagnose_directories(Line const &line, Value const &value) {
    for (std::string const &directory : split(value.text, ';')) {
      std::string const path = Platform::native_path(directory.c_str());
      if (!directory.empty() && !status_of(path).is_directory) {
        std::string const nearest = find_nearest_path(path);
        add(line.number,
            "the directory '" + directory + "' of the registry value " + value.name +
                " does not exist",
            nearest.empty() ? "create it, or remove the value" : "write " + nearest);
      }
    }
    std::string const path = Platform::native_path(value.text.c_str());
    if (lower(value.name) == "installpath" && status_of(path + "/user-config.xml").exists &&
        !status_of(path + "/config").exists) {
      add(line.number,
          "'" + value.text +
              "' holds the settings, but they are looked for in its "
              "directory config",
          "write " + directory_of(path));
    }
  }

  std::string path_;
  std::vector<Line> lines_;
  std::vector<Finding> *findings_;
};

} // namespace

std::string registry_file() {
  std::string path;
  if (!Platform::get_environment_variable(VARIABLE, &path) || path.empty()) {
    path = OSTBASE_SYSCONF_DIR "/ostrel/registry.reg";
  }
  return path;
}

void diagnose_registry(std::vector<Finding> *findings) {
  std::string const path = registry_file();
  FileStatus const status = status_of(path);
  std::string named;
  bool const is_named = Platform::get_environment_variable(VARIABLE, &named) && !named.empty();
  std::string const source = std::string(VARIABLE) + ": ";
  if (std::optional<PathFault> const fault = find_unexpanded(named)) {
    findings->push_back({"", 0, source + fault->what, fault->instead});
  } else if (is_named && !status.exists) {
    std::string const nearest = find_nearest_path(path);
    findings->push_back(
        {"", 0, source + "the file '" + path + "' does not exist",
         nearest.empty() ? "create it, or unset the variable" : "write " + nearest});
  } else if (status.is_directory) {
    findings->push_back(
        {"", 0, source + "'" + path + "' is a directory", "write " + path + "/registry.reg"});
  } else if (status.exists && !status.is_readable) {
    findings->push_back({path, 0, "the registry file cannot be read", grant("r", path)});
  } else if (status.exists) {
    if (status.is_world_writable) {
      findings->push_back(
          {path, 0, "every user can write to the registry file", "run chmod o-w " + path});
    }
    if (is_named && !Platform::is_absolute_path(path.c_str())) {
      findings->push_back({"", 0,
                           source + "'" + path + "' is another file for each current directory",
                           "write its absolute path"});
    }
    RegistryFile(path, findings).diagnose();
  }
}

} // namespace Ostrel::Tool
