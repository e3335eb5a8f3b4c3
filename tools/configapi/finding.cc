#include "finding.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "holdings.h"
#include "nearest.h"
#include "rules.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

using Findings = std::vector<Finding>;

void add_values(const Setting& setting, const Values& values,
                Findings* findings) {
  for (const auto& value : values) {
    const Verdict verdict = judge(setting, value);
    if (!verdict.ok()) {
      findings->push_back(finding_of(setting, verdict));
    }
  }
}

void add_known(const Holding& holding, Findings* findings) {
  add_values(*holding.setting, holding.values, findings);
  if (holding.values.size() > 1) {
    findings->push_back({"several_values",
                         std::to_string(holding.values.size()) +
                             " values, of which the gateway reads the last",
                         holding.section, holding.key});
  }
}

void add_foreign(const Holding& holding, Findings* findings) {
  Finding finding{"unknown_key", "no such key in the schema", holding.section,
                  holding.key};
  finding.nearest =
      not_in_schema(holding.section + "/" + holding.key).nearest();
  findings->push_back(finding);
  if (holding.key.size() > kMaxKeyBytes) {
    findings->push_back({"name_too_long",
                         "a name of " + std::to_string(holding.key.size()) +
                             " bytes; the gateway reads " +
                             std::to_string(kMaxKeyBytes) + " at most",
                         holding.section, holding.key});
  }
}

// Each once.
std::vector<std::string> unknown_sections(const std::vector<Entry>& entries) {
  std::vector<std::string> sections;
  for (const Entry& entry : entries) {
    for (const auto& [attribute, value] : entry.values) {
      const std::string& name = value;
      const bool told = std::any_of(
          sections.begin(), sections.end(),
          [&](const std::string& section) { return same_name(section, name); });
      if (same_name(attribute, "cn") && settings_of(name).empty() && !told) {
        sections.push_back(name);
      }
    }
  }
  return sections;
}

std::string subject(const Finding& finding) {
  std::string text;
  if (finding.line > 0) {
    text = finding.file + ":" + std::to_string(finding.line) + ": ";
  }
  if (!finding.dn.empty()) {
    text += finding.dn + ": ";
  } else if (!finding.key.empty()) {
    text += finding.section + "/" + finding.key + ": ";
  } else if (!finding.section.empty()) {
    text += finding.section + ": ";
  }
  return text;
}

Json row_of(const Finding& finding) {
  Json row{{"finding", finding.kind}};
  if (!finding.file.empty()) {
    row["file"] = finding.file;
    row["line"] = finding.line;
  }
  if (!finding.key.empty()) {
    row.update(setting_row(finding.section, finding.key));
  } else if (!finding.section.empty()) {
    row["section"] = finding.section;
  }
  if (!finding.dn.empty()) {
    row["dn"] = finding.dn;
  }
  row["text"] = finding.text;
  if (!finding.nearest.empty()) {
    row["nearest"] = finding.nearest;
  }
  return row;
}

}  // namespace

Finding finding_of(const Setting& setting, const Verdict& verdict) {
  return {flaw_name(verdict.flaw), verdict.why, setting.section,
          setting.key->key};
}

std::vector<Finding> findings_in(const std::vector<Entry>& entries) {
  const Holdings holdings(entries);
  Findings findings;
  for (const Holding& holding : holdings.all()) {
    if (holding.in_schema()) {
      add_known(holding, &findings);
    } else if (!settings_of(holding.section).empty()) {
      add_foreign(holding, &findings);
    }
  }
  for (const auto& section : unknown_sections(entries)) {
    findings.push_back({"unknown_section",
                        "no such section in the schema",
                        section,
                        {},
                        nearest_section(section)});
  }
  for (const auto& dn : holdings.shadowed()) {
    findings.push_back({"duplicate_section",
                        "the gateway reads another entry for the same section",
                        {},
                        {},
                        {},
                        dn});
  }
  return findings;
}

std::vector<Finding> findings_in(const SettingsFile& file) {
  Findings findings;
  for (const FileFault& fault : file.faults()) {
    const bool unknown = fault.code == ExitCode::kNotInSchema;
    findings.push_back({unknown ? "unknown" : "syntax",
                        fault.text,
                        {},
                        {},
                        fault.nearest,
                        {},
                        file.name(),
                        fault.line});
  }
  for (const Wanted& wanted : file.wanted()) {
    const std::size_t before = findings.size();
    add_values(wanted.setting, wanted.values, &findings);
    for (std::size_t i = before; i < findings.size(); ++i) {
      findings[i].file = file.name();
      findings[i].line = wanted.line;
    }
  }
  return findings;
}

void print(const Finding& finding, const Output& output) {
  if (output.json) {
    output.object(row_of(finding));
    return;
  }
  std::string line = visible(subject(finding) + finding.text);
  if (!finding.nearest.empty()) {
    line += "; did you mean " + finding.nearest + "?";
  }
  output.line(line);
}

}  // namespace configapi::tool
