// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/FileStatus.hpp"

#include "core/base/platform/Platform.hpp"
#include "tools/ostrel/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace Ostrel::Tool {

namespace {

// The text with "~" and variables replaced, as a shell does.
std::string expanded(std::string path) {
  std::string value;
  if (starts_with(path, "~") && Platform::get_environment_variable("HOME", &value)) {
    path.replace(0, 1, value);
  }
  std::size_t next = 0; // behind each value, which may contain the character again
  for (std::size_t start = path.find('$'); start != path.npos; start = path.find('$', next)) {
    next = start + 1;
    bool const has_braces = path.compare(start + 1, 1, "{") == 0;
    std::size_t const name = start + (has_braces ? 2 : 1);
    std::size_t const end =
        std::min(path.find_first_not_of(
                     "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789", name),
                 path.size());
    if (Platform::get_environment_variable(path.substr(name, end - name).c_str(), &value)) {
      path.replace(start, end - start + (has_braces ? 1 : 0), value);
      next = start + value.size();
    }
  }
  return path;
}

// The text with %NAME% replaced, as the shell of Windows does.
std::string with_percents_expanded(std::string path) {
  std::size_t next = 0; // as above
  for (std::size_t start = path.find('%'); start != path.npos; start = path.find('%', next)) {
    next = start + 1;
    std::size_t const end = path.find('%', start + 1);
    std::string value;
    if (end != path.npos && Platform::get_environment_variable(
                                path.substr(start + 1, end - start - 1).c_str(), &value)) {
      path.replace(start, end - start + 1, value);
      next = start + value.size();
    }
  }
  return path;
}

bool is_quote(char c) {
  return c == '"' || c == '\'';
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
  status.is_world_writable = (file.st_mode & S_IWOTH) != 0;
  status.is_sticky = (file.st_mode & S_ISVTX) != 0;
  status.is_own = file.st_uid == geteuid() || geteuid() == 0;
  return status;
}

std::string grant(std::string const &right, std::string const &path) {
  if (status_of(path).is_own) {
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
    return {"'" + path + "' does not exist, because '" + above + "' is a file", otherwise};
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
    return PathFault{"the quotes of '" + path + "' are part of the name", "write " + plain};
  }
  if (path.front() == '~' || path.find('$') != path.npos) {
    std::string const plain = expanded(path);
    return PathFault{"'" + path + "' is not expanded",
                     "write " + (plain == path ? "the directory itself" : plain)};
  }
  if (with_percents_expanded(path) != path) {
    return PathFault{"'" + path + "' is not expanded", "write " + with_percents_expanded(path)};
  }
  constexpr std::string_view URL = "file://";
  if (starts_with(path, URL)) {
    return PathFault{"'" + path + "' is not a path", "write " + path.substr(URL.size())};
  }
  if (trimmed(path) != path) {
    return PathFault{"the blanks around '" + path + "' are part of the name",
                     "write " + std::string(trimmed(path))};
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
