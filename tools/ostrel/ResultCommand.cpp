// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/ResultCommand.hpp"

#include "core/base/foundation/ResultCode.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace Ostrel::Tool {

namespace {

// By their numbers, which have no gaps.
std::vector<std::string> result_names() {
  std::string const unknown = result_code_get_name(~0UL);
  std::vector<std::string> names;
  for (std::string name = result_code_get_name(0UL); name != unknown;
       name = result_code_get_name(static_cast<unsigned long>(names.size()))) {
    names.push_back(name);
  }
  return names;
}

bool is_number(std::string_view text) {
  text.remove_prefix(text.substr(0, 1) == "-" ? 1 : 0);
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

std::string full_name(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return name.rfind("RESULT_", 0) == 0 ? name : "RESULT_" + name;
}

} // namespace

int run_result(Output &output, std::string const &text) {
  std::vector<std::string> const names = result_names();
  unsigned long code = 0;
  if (is_number(text)) {
    code = std::strtoul(text.c_str(), nullptr, 10);
  } else {
    auto const found = std::find(names.begin(), names.end(), full_name(text));
    code = static_cast<unsigned long>(found - names.begin());
  }
  if (code >= names.size()) {
    output.error("there is no result code '" + text + "'" +
                 (is_number(text) ? "; the last one is " + std::to_string(names.size() - 1)
                                  : did_you_mean(full_name(text), names)));
    return STATUS_NOT_FOUND;
  }
  if (output.is_json()) {
    output.print_json(
        {{"name", names[code]}, {"code", code}, {"description", result_code_get_str(code)}});
  } else {
    output.line(names[code] + " (" + std::to_string(code) + "): " + result_code_get_str(code));
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
