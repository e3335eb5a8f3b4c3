// A public header as a page: the comment at its top, then every declaration
// with the comment before it.

#include <algorithm>
#include <cstddef>
#include <regex>

#include "page.h"

namespace man {
namespace {

bool is_comment(std::string_view line) {
  const std::size_t at = line.find_first_not_of(' ');
  return at != std::string_view::npos && line.substr(at).starts_with("//");
}

// Guards and the like say nothing to a reader.
bool is_machinery(const std::string& line) {
  return line.starts_with('#') || line.starts_with("CONFIGAPI_BEGIN_C") ||
         line.starts_with("CONFIGAPI_END_C") || line == " public:" ||
         line.find("// NOLINT") != std::string::npos;
}

// A comment's text: paragraphs, and lines further in as they are.
void add_comment(const Lines& comment, Page* page) {
  Lines text;
  Lines code;
  const auto flush = [&] {
    if (!text.empty()) {
      page->paragraph(filled(text));
      text.clear();
    }
    if (!code.empty()) {
      page->code(code);
      code.clear();
    }
  };
  for (const auto& line : comment) {
    if (is_blank(line)) {
      flush();
    } else if (line.starts_with("  ")) {
      if (code.empty()) {
        flush();
      }
      code.push_back(line);
    } else {
      if (!code.empty()) {
        flush();
      }
      text.push_back(line);
    }
  }
  flush();
}

// The names that lines declare, each once.
std::string names_of(const Lines& code) {
  static const std::regex kType(R"(^(?:typedef )?(?:struct|class) (\w+))");
  static const std::regex kFunction(R"((\w+)\()");
  static const std::regex kVariable(R"((\w+)(?:\[\w*\])?(?: = [^;]*)?;)");
  const std::string all = filled(code);
  std::smatch found;
  if (std::regex_search(all, found, kType) &&
      (all.starts_with("class") || all.find('{') != std::string::npos)) {
    return found[1];
  }
  if (all.starts_with("enum")) {
    return "Constants";
  }
  Lines names;
  for (const auto& line : code) {
    const bool begins = !line.starts_with("  ");
    if (begins &&
        (std::regex_search(line, found, kFunction) ||
         std::regex_search(line, found, kVariable)) &&
        std::find(names.begin(), names.end(), found[1]) == names.end()) {
      names.push_back(found[1]);
    }
  }
  std::string title;
  for (const auto& name : names) {
    title += (title.empty() ? "" : ", ") + name;
  }
  return title;
}

class Header {
 public:
  Header(const Lines& source, Page* page) : page_(page) {
    std::copy_if(source.begin(), source.end(), std::back_inserter(lines_),
                 [](const auto& line) { return !is_machinery(line); });
  }

  Lines take_comment() {
    Lines comment;
    for (; at_ < lines_.size() && is_comment(lines_[at_]); ++at_) {
      const std::size_t text = lines_[at_].find("//") + 2;
      comment.push_back(lines_[at_].substr(std::min(
          lines_[at_].size(), text + (lines_[at_][text] == ' ' ? 1 : 0))));
    }
    return comment;
  }

  void convert() {
    while (at_ < lines_.size()) {
      const std::string& line = lines_[at_];
      if (is_blank(line) || line == "};") {
        ++at_;
      } else if (is_comment(line)) {
        convert_comment();
      } else {
        convert_declaration({});
      }
    }
  }

 private:
  // One that stands alone speaks of what follows it.
  void convert_comment() {
    const Lines comment = take_comment();
    if (at_ < lines_.size() && !is_blank(lines_[at_])) {
      convert_declaration(comment);
      return;
    }
    constexpr std::size_t kLongestTitle = 60;
    const std::string text = filled(comment);
    const std::string title = text.substr(0, text.find_first_of(".:(,"));
    page_->heading(title.size() <= kLongestTitle ? title : "More");
    if (text.size() > title.size() + 1 && comment.size() > 1) {
      add_comment(comment, page_);
    }
  }

  void convert_declaration(const Lines& comment) {
    const Lines code = take_declaration();
    if (comment.empty() && code.front().starts_with("struct ")) {
      return;  // named for a pointer's sake
    }
    page_->subheading(names_of(code));
    page_->code(code);
    add_comment(comment, page_);
  }

  // Up to a blank line or the next comment, but a record whole. Of a class the
  // head alone: its members follow.
  Lines take_declaration() {
    static const std::regex kExport("CONFIGAPI_EXPORT (extern )?");
    Lines code;
    int open = 0;
    while (at_ < lines_.size() &&
           (open > 0 || (!is_blank(lines_[at_]) && !is_comment(lines_[at_])))) {
      std::string line = std::regex_replace(lines_[at_++], kExport, "");
      if (line.starts_with("class ")) {
        in_class_ = true;
        return {line.substr(0, line.find(" {")) + ";"};
      }
      open += static_cast<int>(std::count(line.begin(), line.end(), '{')) -
              static_cast<int>(std::count(line.begin(), line.end(), '}'));
      if (line == "};" && open < 0) {
        in_class_ = false;
        break;
      }
      code.push_back(line.substr(in_class_ ? 2 : 0));
    }
    return code;
  }

  Page* page_;
  Lines lines_;
  std::size_t at_ = 0;
  bool in_class_ = false;
};

}  // namespace

Page header_page(const std::string& header, const Lines& source,
                 const std::string& version, const std::string& date) {
  std::size_t end = 0;
  Lines top;
  for (; end < source.size() && is_comment(source[end]); ++end) {
    top.push_back(
        source[end].substr(std::min<std::size_t>(source[end].size(), 3)));
  }
  const std::string about = filled(top);
  std::string purpose = about.substr(0, about.find(". "));
  purpose = purpose.substr(0, purpose.find(": "));
  purpose.front() = static_cast<char>(purpose.front() | 0x20);
  if (purpose.ends_with('.')) {
    purpose.pop_back();
  }
  Page page("configapi_" + header, 3, version, date, purpose);
  page.heading("Synopsis");
  page.code(
      {"#include <configapi/" + header + ".h>", "", "Link with -lconfigapi."});
  page.heading("Description");
  add_comment(top, &page);
  page.heading("Declarations");
  Header(Lines(source.begin() + static_cast<std::ptrdiff_t>(end), source.end()),
         &page)
      .convert();
  page.heading("See also");
  page.paragraph("`configapi`(1)");
  return page;
}

}  // namespace man
