// One manual page in the language of man(7).

#ifndef CONFIGAPI_MAN_PAGE_H_
#define CONFIGAPI_MAN_PAGE_H_

#include <string>
#include <string_view>
#include <vector>

namespace man {

using Lines = std::vector<std::string>;

// Texts are filled and may have `words of code` in them; lines of code stand as
// they are. Neither has any other markup.
class Page {
 public:
  // The name as in "configapi", what it is in a few words.
  Page(const std::string& name, int section, const std::string& version,
       const std::string& date, std::string_view purpose);

  void heading(std::string_view text);
  void subheading(std::string_view text);
  void paragraph(std::string_view text);
  void code(const Lines& lines);

  // What stands in the margin; the next paragraph is beside it.
  void tag(std::string_view text);
  void bullet();

  // Between these, paragraphs belong to the tag or bullet before.
  void begin_item() { in_item_ = true; }
  void end_item() { in_item_ = false; }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  void request(std::string_view name, std::string_view argument = {});

  std::string text_;
  bool in_item_ = false;
  bool beside_ = false;  // the next paragraph needs no request of its own
};

// The lines as one text.
std::string filled(const Lines& lines);

std::string upper(std::string_view text);

bool is_blank(std::string_view line);

// A page of the tool, out of its document; one of a header of the library.
Page tool_page(const Lines& markdown, const std::string& version,
               const std::string& date);
Page header_page(const std::string& header, const Lines& source,
                 const std::string& version, const std::string& date);

}  // namespace man

#endif  // CONFIGAPI_MAN_PAGE_H_
