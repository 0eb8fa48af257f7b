// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/Doctor.hpp"

#include "tools/ostrel/Check.hpp"
#include "tools/ostrel/Diagnosis.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Report.hpp"
#include "tools/ostrel/Silence.hpp"

#include <nlohmann/json.hpp>

namespace Ostrel::Tool {

namespace {

std::vector<Finding> diagnose_all() {
  Silence const silence;
  std::vector<Finding> findings;
  diagnose_variables(&findings);
  diagnose_search_paths(&findings);
  diagnose_settings_file(&findings);
  diagnose_registry(&findings);
  diagnose_logging(&findings);
  return findings;
}

nlohmann::json sections_json(std::vector<Section> const &sections) {
  nlohmann::json json = nlohmann::json::object();
  for (Section const &section : sections) {
    json[section.title] = section.lines;
  }
  return json;
}

void print_sections(Output &output, std::vector<Section> const &sections) {
  for (Section const &section : sections) {
    output.line({{section.title, Style::STRONG}});
    for (std::string const &line : section.lines) {
      output.line("  " + line);
    }
  }
}

} // namespace

int run_doctor(Output &output, bool report) {
  std::vector<Finding> const findings = diagnose_all();
  std::vector<Section> const sections = report ? write_report() : std::vector<Section>();
  if (output.is_json()) {
    nlohmann::json json = {{"findings", findings_json(findings)}};
    if (report) {
      json["report"] = sections_json(sections);
    }
    output.print_json(json);
  } else {
    print_sections(output, sections);
    if (report) {
      output.line({{findings.empty() ? "nothing found" : "findings", Style::STRONG}});
    }
    print_findings(output, findings);
  }
  if (findings.empty() && !report) {
    output.error("nothing found");
  }
  return findings.empty() ? STATUS_DONE : STATUS_FINDINGS;
}

} // namespace Ostrel::Tool
