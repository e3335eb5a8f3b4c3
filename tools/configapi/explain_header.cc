#include "explain_header.h"

#include <configapi/lineio.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "explain_addresses.h"
#include "explain_date.h"
#include "nearest.h"

namespace configapi::tool {
namespace {

// The library joins a header to at most 63 blocks.
constexpr std::size_t kHeaderLimit = std::size_t{63} * 1024;
constexpr std::string_view kJoin = "\r\n\t";
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr int kUnfolded = 2;  // the flag of the header-name table

enum class Kind { kNone, kAddresses, kDate, kText, kList };

// What the codes of the header-name table stand for.
Kind kind_of(const HdrName* row) {
  switch (row != nullptr ? row->code : 0) {
    case 0:
      return Kind::kNone;
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
    case 7:
    case 9:
    case 10:
    case 27:
      return Kind::kAddresses;
    case 12:
    case 28:
      return Kind::kDate;
    case 8:
    case 21:
    case 29:
      return Kind::kList;
    default:
      return Kind::kText;
  }
}

// The row of a header, whose name takes along the character that ends it: any
// with a ':' is one of "other" at least.
const HdrName* row_of(std::string_view name) {
  const auto* row = static_cast<const HdrName*>(_htbl);
  while (row->key != nullptr && !same_name(row->key, name) &&
         !(name.ends_with(':') && same_name(row->key, "other:"))) {
    ++row;
  }
  return row->key != nullptr ? row : nullptr;
}

std::string_view without_leading_blanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string unfolded(std::string_view text) {
  std::string value;
  for (std::size_t join = text.find(kJoin); join != std::string_view::npos;
       join = text.find(kJoin)) {
    value.append(text.substr(0, join)).push_back(' ');
    text.remove_prefix(join + kJoin.size());
  }
  return value.append(text);
}

// A line of the file without its line feed.
struct Line {
  long byte = 0;
  std::string text;            // as much as a header may have
  std::size_t beyond = 0;      // how many bytes more there were
  bool return_beyond = false;  // and whether a carriage return was among them
};

class HeaderExplainer {
 public:
  HeaderExplainer(const MailFile& file, const Message& message)
      : handle_(file.handle()), end_(message.body), line_(message.line - 1) {
    setfpos(handle_, message.byte);
  }

  std::vector<HeaderRemark> explain();

 private:
  bool read_line(Line* line);
  void cut(Line* line);
  bool gather(const Line& line);
  void finish();
  void explain_value(const std::string& name, Kind kind,
                     const std::string& value);
  bool is_repeated(int code, Kind kind);

  void add(HeaderRemark remark);
  void add(const std::string& header, Remark remark) {
    add({header_line_, header_byte_, header, std::move(remark)});
  }
  void add(const Line& line, Remark remark) {
    add({line_, line.byte, "", std::move(remark)});
  }

  int handle_;
  long end_;
  long line_;           // the line that was read last
  std::string joined_;  // the header that is being gathered
  long header_line_ = 0;
  long header_byte_ = 0;
  std::vector<int> seen_;  // headers of which only the first counts
  std::vector<HeaderRemark> remarks_;
};

std::vector<HeaderRemark> HeaderExplainer::explain() {
  Line line;
  while (read_line(&line)) {
    cut(&line);
    if (!gather(line)) {
      break;
    }
  }
  finish();
  std::stable_sort(remarks_.begin(), remarks_.end(),
                   [](const HeaderRemark& a, const HeaderRemark& b) {
                     return a.line < b.line;
                   });
  return std::move(remarks_);
}

void HeaderExplainer::add(HeaderRemark remark) {
  if (remarks_.size() < kMostRemarks) {
    remarks_.push_back(std::move(remark));
  } else if (remarks_.size() == kMostRemarks) {
    remark.header.clear();
    remark.remark = {"and so on: from here the header is not explained"};
    remarks_.push_back(std::move(remark));
  }
}

// Joins the pieces that a long line comes in. A piece may hold NUL bytes: how
// long it is shows by how far the position moved.
bool HeaderExplainer::read_line(Line* line) {
  *line = {getfpos(handle_), "", 0};
  char* piece = nullptr;
  while (getfpos(handle_) < end_) {
    const long before = getfpos(handle_);
    if (configapi_getline(handle_, &piece) != 1) {
      break;
    }
    const auto length = static_cast<std::size_t>(getfpos(handle_) - before);
    const auto room = std::min(length, kHeaderLimit - line->text.size());
    line->text.append(piece, room);
    line->beyond += length - room;
    line->return_beyond |=
        std::memchr(piece + room, '\r', length - room) != nullptr;
    if (piece[length - 1] == '\n') {
      break;
    }
  }
  ++line_;
  return getfpos(handle_) > line->byte;
}

// Takes off what the header reader takes off: the line feed, what follows a
// NUL byte, and what follows the last carriage return, usually nothing.
void HeaderExplainer::cut(Line* line) {
  if (line->beyond > 0) {
    add(*line, {std::to_string(line->beyond) +
                " bytes of this line are beyond what a header can have"});
  } else if (line->text.ends_with('\n')) {
    line->text.pop_back();
  }
  const auto drop = [&](std::size_t at, const char* behind) {
    if (at == std::string::npos) {
      return;
    }
    const std::string dropped = line->text.substr(at + 1);
    if (!dropped.empty()) {
      add(*line,
          {in_quotes(dropped) + " is left out: it stands behind a " + behind,
           at, dropped});
    }
    line->text.resize(at);
  };
  const std::size_t nul = line->text.find('\0');
  drop(nul, "NUL byte");
  // The last carriage return of a line may lie beyond what is kept of it.
  if (!line->return_beyond || nul != std::string::npos) {
    drop(line->text.rfind('\r'), "carriage return");
  }
}

// False where the header would become too large: reading stops there.
bool HeaderExplainer::gather(const Line& line) {
  const bool continues =
      !line.text.empty() &&
      kBlanks.find(line.text.front()) != std::string_view::npos;
  if (!continues) {
    finish();
  }
  if (joined_.empty()) {
    header_line_ = line_;
    header_byte_ = line.byte;
  }
  if (!continues) {
    joined_ = line.text;
    return true;
  }
  if (joined_.size() + line.text.size() + kJoin.size() + 1 > kHeaderLimit) {
    return false;
  }
  joined_.append(kJoin).append(without_leading_blanks(line.text));
  return true;
}

// The header is complete: says what is to be said of it.
void HeaderExplainer::finish() {
  const std::string header = std::exchange(joined_, {});
  if (header.empty()) {
    return;
  }
  const auto name_end = std::min(header.find_first_of(": \t\n"), header.size());
  const std::string name = header.substr(0, name_end);
  const bool colon = header[name_end] == ':';
  const HdrName* const row = row_of(name + (colon ? ':' : ' '));
  const Kind kind = kind_of(row);
  if (kind == Kind::kNone) {
    const bool spaced =
        without_leading_blanks(std::string_view(header).substr(name_end))
            .starts_with(':');
    add("", {in_quotes(header) +
             (spaced ? " is no header: a blank stands before the ':'"
                     : " is no header: its first word does not end in ':'")});
  } else if (is_repeated(row->code, kind)) {
    add(name, {"the header stood before already, and the first one counts"});
  } else {
    const std::string_view value = without_leading_blanks(
        std::string_view(header).substr(std::min(name_end + 1, header.size())));
    explain_value(
        name, kind,
        (row->flags & kUnfolded) != 0 ? unfolded(value) : std::string(value));
  }
}

bool HeaderExplainer::is_repeated(int code, Kind kind) {
  constexpr int kAnyDate = 12;
  if (kind != Kind::kText && kind != Kind::kDate) {
    return false;
  }
  const int counted = kind == Kind::kDate ? kAnyDate : code;
  const bool seen =
      std::find(seen_.begin(), seen_.end(), counted) != seen_.end();
  if (!seen) {
    seen_.push_back(counted);
  }
  return seen;
}

void HeaderExplainer::explain_value(const std::string& name, Kind kind,
                                    const std::string& value) {
  Remarks remarks;
  if (kind == Kind::kAddresses) {
    remarks = explain_addresses(value);
  } else if (kind == Kind::kDate) {
    remarks = explain_date(value, DateForm::kRfc822);
    if (find_date_fault(value, DateForm::kRfc822)) {
      remarks.push_back({"the time of reading stands in for the date"});
    }
  }
  for (Remark& remark : remarks) {
    add(name, std::move(remark));
  }
}

}  // namespace

std::vector<HeaderRemark> explain_header(const MailFile& file,
                                         const Message& message) {
  return HeaderExplainer(file, message).explain();
}

}  // namespace configapi::tool
