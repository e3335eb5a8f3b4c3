// The tool's document as a page. Of Markdown, what that document is written in:
// headings, paragraphs, indented code, lists, definitions and tables.

#include <algorithm>
#include <cstddef>

#include "page.h"

namespace man {
namespace {

constexpr std::string_view kIndent = "    ";
constexpr std::string_view kDefinition = ":   ";
constexpr std::string_view kItem = "- ";

class Markdown {
 public:
  Markdown(Lines lines, Page* page) : lines_(std::move(lines)), page_(page) {}

  // NOLINTNEXTLINE(misc-no-recursion): all are as deep as the lists are
  void convert() {
    while (at_ < lines_.size()) {
      convert_block();
    }
  }

 private:
  // NOLINTNEXTLINE(misc-no-recursion)
  void convert_block() {
    const std::string& line = lines_[at_];
    if (is_blank(line)) {
      ++at_;
    } else if (line.starts_with("## ")) {
      page_->heading(line.substr(3));
      ++at_;
    } else if (line.starts_with("### ")) {
      page_->subheading(line.substr(4));
      ++at_;
    } else if (line.starts_with(kIndent)) {
      page_->code(take_indented(kIndent.size()));
    } else if (line.starts_with("|")) {
      convert_table();
    } else if (line.starts_with(kItem)) {
      page_->bullet();
      convert_item(kItem);
    } else {
      convert_text();
    }
  }

  // The lines that are indented so far, less that; blank ones between them too.
  Lines take_indented(std::size_t indent) {
    Lines taken;
    while (at_ < lines_.size() &&
           (is_blank(lines_[at_]) ||
            is_blank(std::string_view(lines_[at_]).substr(0, indent)))) {
      const std::string& line = lines_[at_++];
      taken.push_back(line.substr(std::min(indent, line.size())));
    }
    while (!taken.empty() && is_blank(taken.back())) {
      taken.pop_back();
    }
    return taken;
  }

  // What a mark begins and indented lines go on with.
  // NOLINTNEXTLINE(misc-no-recursion)
  void convert_item(std::string_view mark) {
    lines_[at_].replace(0, mark.size(), mark.size(), ' ');
    page_->begin_item();
    Markdown(take_indented(mark.size()), page_).convert();
    page_->end_item();
  }

  // NOLINTNEXTLINE(misc-no-recursion)
  void convert_text() {
    Lines text;
    while (at_ < lines_.size() && !is_blank(lines_[at_]) &&
           !lines_[at_].starts_with(kDefinition)) {
      text.push_back(lines_[at_++]);
    }
    if (at_ < lines_.size() && lines_[at_].starts_with(kDefinition)) {
      page_->tag(filled(text));
      convert_item(kDefinition);
    } else {
      page_->paragraph(filled(text));
    }
  }

  static Lines cells(const std::string& row) {
    Lines found;
    std::size_t from = row.find('|');
    for (std::size_t to = row.find('|', from + 1); to != std::string::npos;
         from = to, to = row.find('|', from + 1)) {
      const std::string cell = row.substr(from + 1, to - from - 1);
      const std::size_t first = cell.find_first_not_of(' ');
      found.push_back(
          first == std::string::npos
              ? ""
              : cell.substr(first, cell.find_last_not_of(' ') + 1 - first));
    }
    return found;
  }

  // The first column in the margin, with those between in parentheses: the
  // lines of a terminal are too short for a table of texts.
  void convert_table() {
    for (at_ += 2; at_ < lines_.size() && lines_[at_].starts_with("|"); ++at_) {
      const Lines row = cells(lines_[at_]);
      std::string name = row.front();
      for (std::size_t i = 1; i + 1 < row.size(); ++i) {
        name += row[i].empty() ? "" : " (" + row[i] + ")";
      }
      page_->tag(name);
      page_->paragraph(row.back());
    }
  }

  Lines lines_;
  Page* page_;
  std::size_t at_ = 0;
};

}  // namespace

// The document begins with its title, what the tool is, and how it is called.
Page tool_page(const Lines& markdown, const std::string& version,
               const std::string& date) {
  Lines about;
  Lines usage;
  auto line = markdown.begin() + 1;
  for (; line != markdown.end() && usage.empty(); ++line) {
    if (line->starts_with(kIndent)) {
      for (; line != markdown.end() && line->starts_with(kIndent); ++line) {
        usage.push_back(line->substr(kIndent.size()));
      }
    } else if (!is_blank(*line)) {
      about.push_back(*line);
    }
  }
  std::string purpose = filled(about);
  if (purpose.ends_with('.')) {
    purpose.pop_back();
  }
  purpose.front() = static_cast<char>(purpose.front() | 0x20);
  Page page("configapi", 1, version, date, purpose);
  page.heading("Synopsis");
  page.code(usage);
  page.heading("Description");
  Markdown({line, markdown.end()}, &page).convert();
  return page;
}

}  // namespace man
