// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/FileStatus.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/Variables.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// The text with "~" in front, $NAME, ${NAME} and %NAME% replaced, as shells do.
std::string expanded(std::string const &path) {
  constexpr char const *NAME = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
  std::string result, value;
  for (std::size_t at = 0, next = 0; at < path.size(); at = next) {
    char const first = path[at];
    bool const is_home = at == 0 && (path == "~" || starts_with(path, "~/"));
    bool const has_brace = path.compare(at, 2, "${") == 0;
    std::string const close = has_brace ? "}" : first == '%' ? "%" : "";
    std::size_t const name = at + (has_brace ? 2 : 1);
    std::size_t const end =
        is_home ? name : std::min(path.find_first_not_of(NAME, name), path.size());
    bool const is_variable =
        (first == '$' || first == '%') && path.compare(end, close.size(), close) == 0;
    bool const is_replaced = (is_home || is_variable) &&
                             Platform::get_environment_variable(
                                 is_home ? "HOME" : path.substr(name, end - name).c_str(), &value);
    next = is_replaced ? end + close.size() : at + 1;
    result += is_replaced ? value : std::string(1, first);
  }
  return result;
}

bool is_quote(char c) {
  return c == '"' || c == '\'';
}

// Whether a shell or a service file would replace a part of the path.
bool has_expansion(std::string const &path) {
  return path.find_first_of("~%") == 0 || path.find_first_of("$*") != path.npos ||
         expanded(path) != path;
}

// The correction to a path, which may need another one.
std::string write_path(std::string const &path) {
  std::optional<PathFault> const fault = find_unexpanded(path);
  return fault ? fault->instead : "write " + (path.empty() ? "a path" : path);
}

} // namespace

FileStatus status_of(std::string const &path) {
  FileStatus status;
  struct stat file = {};
  if (stat(path.c_str(), &file) != 0) {
    status.error = std::generic_category().message(errno);
    return status;
  }
  status.exists = true;
  status.is_directory = S_ISDIR(file.st_mode);
  status.is_regular = S_ISREG(file.st_mode);
  int const reads = status.is_directory ? X_OK : R_OK;
  mode_t const read_bits =
      status.is_directory ? S_IXUSR | S_IXGRP | S_IXOTH : S_IRUSR | S_IRGRP | S_IROTH;
  status.is_readable = access(path.c_str(), reads) == 0 && (file.st_mode & read_bits) != 0;
  status.is_writable =
      access(path.c_str(), W_OK) == 0 && (file.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0;
  status.is_world_writable =
      (status.is_directory || status.is_regular) && (file.st_mode & S_IWOTH) != 0;
  status.is_sticky = (file.st_mode & S_ISVTX) != 0;
  status.is_own = file.st_uid == geteuid() || geteuid() == 0;
  return status;
}

std::string grant(std::string const &right, std::string const &path) {
  FileStatus const status = status_of(path);
  if (!status.is_directory && !status.is_regular) {
    return "name another file";
  }
  if (status.is_own) {
    return "run chmod u+" + right + " " + path;
  }
  return "as its owner, run chgrp " + std::to_string(getegid()) + " " + path + " and chmod g+" +
         right + " " + path;
}

bool is_same_file(std::string const &left, std::string const &right) {
  struct stat one = {}, other = {};
  return stat(left.c_str(), &one) == 0 && stat(right.c_str(), &other) == 0 &&
         one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

std::string directory_of(std::string const &path) {
  std::string const directory = std::filesystem::path(path).parent_path().string();
  return directory.empty() ? "." : directory;
}

std::vector<std::string> list_directory(std::string const &directory) {
  std::vector<std::string> names;
  std::error_code error;
  for (auto const &entry : std::filesystem::directory_iterator(directory, error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string find_nearest_path(std::string const &path) {
  std::filesystem::path plain(path);
  if (!plain.has_filename()) {
    plain = plain.parent_path();
  }
  std::string const directory = directory_of(plain.string());
  std::vector<std::string> const names = list_directory(directory);
  std::string const *const found = find_misspelt(plain.filename().string(), names);
  if (found != nullptr) {
    return (std::filesystem::path(directory) / *found).string();
  }
  // One level up: /etc/robt/config
  if (plain.has_parent_path() && plain.parent_path() != plain && !status_of(directory).exists) {
    std::string const parent = find_nearest_path(directory);
    std::string const whole = (std::filesystem::path(parent) / plain.filename()).string();
    return !parent.empty() && status_of(whole).exists ? whole : "";
  }
  return "";
}

PathFault explain_missing(std::string const &path, std::string const &otherwise) {
  std::string above = directory_of(path);
  while (!status_of(above).exists && directory_of(above) != above) {
    above = directory_of(above);
  }
  FileStatus const status = status_of(above);
  if (status.exists && !status.is_directory) {
    return {"'" + path + "' does not exist, because '" + above + "' is a file",
            "name a place below a directory"};
  }
  if (!status.is_readable) {
    return {"'" + path + "' cannot be looked at: permission denied for '" + above + "'",
            grant("x", above)};
  }
  std::string const nearest = find_nearest_path(path);
  return {"'" + path + "' does not exist", nearest.empty() ? otherwise : "write " + nearest};
}

std::optional<PathFault> find_unexpanded(std::string const &path) {
  if (path.empty() || status_of(path).exists) {
    return std::nullopt;
  }
  if (is_quote(path.front()) || is_quote(path.back())) {
    std::string plain = path;
    plain.erase(std::remove_if(plain.begin(), plain.end(), is_quote), plain.end());
    return PathFault{"the quotes of '" + path + "' are part of the name", write_path(plain)};
  }
  if (has_expansion(path)) {
    std::string const plain = expanded(path);
    return PathFault{"'" + path + "' is not expanded",
                     has_expansion(plain) ? "write the path itself" : write_path(plain)};
  }
  constexpr std::string_view URL = "file://";
  if (starts_with(path, URL)) {
    return PathFault{"'" + path + "' is not a path", write_path(path.substr(URL.size()))};
  }
  if (trimmed(path) != path) {
    return PathFault{"the blanks around '" + path + "' are part of the name",
                     write_path(std::string(trimmed(path)))};
  }
  for (std::string const &name : library_variables()) {
    if (starts_with(path, name + "=")) {
      return PathFault{"'" + path + "' begins with the name of the variable",
                       write_path(path.substr(name.size() + 1))};
    }
  }
  return std::nullopt;
}

std::optional<PathFault> find_relative(std::string const &path) {
  // To the library, "./logs" is absolute.
  if (Platform::is_absolute_path(path.c_str()) && !starts_with(path, ".")) {
    return std::nullopt;
  }
  std::error_code error;
  std::filesystem::path const native = Platform::native_path(path.c_str());
  std::filesystem::path const plain = std::filesystem::absolute(native, error).lexically_normal();
  return PathFault{"'" + path + "' depends on the current directory",
                   "write " + (plain.has_filename() ? plain : plain.parent_path()).string()};
}

} // namespace Ostrel::Tool
