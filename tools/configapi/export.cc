// configapi export [GLOB] [--secrets] [-o FILE]

#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "address.h"
#include "commands.h"
#include "holdings.h"
#include "ini_text.h"
#include "link.h"
#include "new_file.h"
#include "selected.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

// What the schema does not know is kept in sight, and no import stumbles on it.
constexpr std::string_view kForeign = "; not in the schema: ";

struct ExportOptions {
  std::string word;
  std::string file = "-";
  bool secrets = false;
};

// The directory has an order of its own for what the schema does not know,
// and it need not stay the same.
bool stable_order(const Holding& a, const Holding& b) {
  const auto rank = [](const Holding& h) {
    return std::pair(!h.in_schema(), h.in_schema() ? std::string() : h.key);
  };
  return rank(a) < rank(b);
}

class Text {
 public:
  explicit Text(bool secrets) : secrets_(secrets) {}

  // One section's settings, in the schema's order.
  void add_section(std::vector<Holding> holdings) {
    std::stable_sort(holdings.begin(), holdings.end(), stable_order);
    if (holdings.empty()) {
      return;
    }
    text_ += text_.empty() ? "" : "\n";
    if (settings_of(holdings.front().section).empty()) {
      text_ += kForeign;
    }
    text_ += ini_section(visible(holdings.front().section));
    for (const Holding& holding : holdings) {
      add(holding);
    }
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  void add(const Holding& holding) {
    const std::string lead(holding.in_schema() ? "" : kForeign);
    const std::string key = visible(holding.key);
    if (!secrets_ && is_secret(holding.key)) {
      text_ += lead + ini_masked(key);
      return;
    }
    bool further = false;
    for (const auto& value : holding.values) {
      text_ += lead + ini_setting(key, value, further);
      further = true;
    }
  }

  bool secrets_;
  std::string text_;
};

// The settings that are set and wanted, section by section.
std::vector<std::vector<Holding>> sections_of(const Holdings& holdings,
                                              const Selection& selection) {
  std::vector<std::vector<Holding>> sections;
  for (const Holding& holding : holdings.all()) {
    if (holding.values.empty() || !is_selected(holding, selection)) {
      continue;
    }
    if (sections.empty() ||
        sections.back().front().section != holding.section) {
      sections.emplace_back();
    }
    sections.back().push_back(holding);
  }
  // Sections of others come last, in the order of their names.
  const auto foreign = std::stable_partition(
      sections.begin(), sections.end(), [](const auto& section) {
        return !settings_of(section.front().section).empty();
      });
  std::stable_sort(foreign, sections.end(), [](const auto& a, const auto& b) {
    return a.front().section < b.front().section;
  });
  return sections;
}

void run(const ExportOptions& options, Tool* tool) {
  const Selection selection(options.word);
  const Link link(tool->connection, tool->output);
  const Holdings holdings(link.entries());
  warn_of_shadowed(holdings, tool->output);
  Text text(options.secrets);
  for (auto& section : sections_of(holdings, selection)) {
    text.add_section(std::move(section));
  }
  // A session that sees nothing must not replace a file that has something.
  if (text.text().empty()) {
    throw nothing_set(options.word, tool->connection);
  }
  if (options.file != "-") {
    replace_file(options.file, text.text());
  } else if (tool->output.json) {
    tool->output.object({{"ini", text.text()}});
  } else {
    tool->output.line(text.text().substr(0, text.text().size() - 1));
  }
}

}  // namespace

void add_export(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<ExportOptions>();
  CLI::App* command = app->add_subcommand(
      "export", "Write the directory's settings as INI text");
  command->add_option("GLOB", options->word,
                      "SECTION, SECTION/KEY or KEY; each may be a glob");
  command->add_flag("--secrets", options->secrets, "Write passwords in clear");
  command
      ->add_option("-o", options->file,
                   "The file to replace; - is standard output")
      ->type_name("FILE");
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
