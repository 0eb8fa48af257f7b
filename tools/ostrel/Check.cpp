// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Check.hpp"

#include "tools/ostrel/Checks.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Origins.hpp"
#include "tools/ostrel/SearchedFiles.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace Ostrel::Tool {

namespace {

std::optional<Schema> find_and_read_schema(SettingsFile const &file,
                                           std::vector<Finding> *findings) {
  std::string const path = find_schema(file.path, file.root.name);
  return path.empty() ? std::nullopt : read_schema(path, findings);
}

// The settings file that the library reads, or else the first that it cannot read; empty, with an
// error, if there is none.
std::string find_settings_file(Output &output) {
  std::string file;
  for (SearchedFile const &place : search_settings_file()) {
    if (place.is_used || (place.exists && file.empty())) {
      file = place.file;
    }
  }
  if (file.empty()) {
    output.error("there is no settings file: no directory of the search path has a "
                 "user-config.xml (see 'ostrel doctor --report')");
  }
  return file;
}

// Not one that cannot be reached.
bool is_missing_file(std::string const &file) {
  std::error_code error;
  return !std::filesystem::exists(file, error) && !error;
}

} // namespace

CheckResult check_file(std::string const &path) {
  CheckResult result;
  std::optional<SettingsFile> const file = read_settings_file(path, &result.findings);
  if (!file) {
    result.is_malformed = true;
    return result;
  }
  std::optional<Schema> const schema = find_and_read_schema(*file, &result.findings);
  Checks checks(*file, schema ? &*schema : nullptr, &result.findings);
  checks.check_root();
  checks.check_aliases();
  checks.check_keys();
  checks.check_values();
  checks.check_against_schema();
  std::stable_sort(result.findings.begin(), result.findings.end(),
                   [](Finding const &a, Finding const &b) { return a.line < b.line; });
  return result;
}

nlohmann::json findings_json(std::vector<Finding> const &findings) {
  nlohmann::json array = nlohmann::json::array();
  for (Finding const &finding : findings) {
    array.push_back({{"file", finding.file},
                     {"line", finding.line},
                     {"what", finding.what},
                     {"instead", finding.instead}});
  }
  return array;
}

void print_findings(Output &output, std::vector<Finding> const &findings) {
  if (output.is_json()) {
    return;
  }
  for (Finding const &finding : findings) {
    std::string const place = place_text(finding.file, finding.line);
    std::string text = finding.what;
    std::replace(text.begin(), text.end(), '\n', ' '); // it may quote a text of several lines
    output.line({{place, Style::STRONG},
                 {place.empty() ? "" : ": "},
                 {text},
                 {finding.instead.empty() ? "" : ": "},
                 {finding.instead, Style::GOOD}});
  }
}

int run_check(Output &output, std::vector<std::string> const &files) {
  std::vector<std::string> checked = files;
  if (checked.empty()) {
    checked.push_back(find_settings_file(output));
    if (checked.front().empty()) {
      return STATUS_NOT_FOUND;
    }
  }
  std::vector<Finding> findings;
  bool is_missing = false, is_malformed = false;
  for (std::string const &file : checked) {
    if (is_missing_file(file)) {
      findings.push_back({file, 0, "there is no such file", "name a file that exists"});
      is_missing = true;
      continue;
    }
    CheckResult result = check_file(file);
    is_malformed = is_malformed || result.is_malformed;
    std::move(result.findings.begin(), result.findings.end(), std::back_inserter(findings));
  }
  print_findings(output, findings);
  if (output.is_json()) {
    output.print_json({{"files", checked}, {"findings", findings_json(findings)}});
  }
  return is_malformed       ? STATUS_UNREADABLE
         : is_missing       ? STATUS_NOT_FOUND
         : findings.empty() ? STATUS_DONE
                            : STATUS_FINDINGS;
}

} // namespace Ostrel::Tool
