// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/DidYouMean.hpp"

#include "tools/ostrel/Text.hpp"

#include <algorithm>

namespace Ostrel::Tool {

namespace {

constexpr std::size_t NEAR = 3; // characters of a name for each error

// The length of the components that two paths begin with; 0 for other texts.
std::size_t shared_path(std::string_view a, std::string_view b) {
  auto const end = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
  std::size_t const last = a.substr(0, static_cast<std::size_t>(end - a.begin())).rfind('/');
  return last == a.npos ? 0 : last + 1;
}

bool is_end_of_path(std::string_view text, std::string_view path) {
  return text.size() < path.size() && path.substr(path.size() - text.size()) == text &&
         path[path.size() - text.size() - 1] == '/';
}

} // namespace

std::string const *find_nearest(std::string_view typed, std::vector<std::string> const &names) {
  std::string const *nearest = nullptr;
  std::size_t fewest = 0;
  std::string const digits = digits_of(typed);
  for (std::string const &name : names) {
    std::size_t const shared = shared_path(typed, name);
    std::string_view const rest = std::string_view(name).substr(shared);
    std::size_t const errors =
        is_end_of_path(typed, name) ? 1 : edit_distance(lower(typed.substr(shared)), lower(rest));
    bool const is_near = name != typed && errors <= rest.size() / NEAR && digits_of(name) == digits;
    if (is_near && (nearest == nullptr || errors < fewest)) {
      nearest = &name;
      fewest = errors;
    }
  }
  return nearest;
}

std::string did_you_mean(std::string_view typed, std::vector<std::string> const &names) {
  std::string const *const nearest = find_nearest(typed, names);
  return nearest == nullptr ? "" : "; did you mean '" + *nearest + "'?";
}

} // namespace Ostrel::Tool
