#include "rfc822/header_fixture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <ostream>

namespace test {
namespace {

constexpr std::size_t kBlock = 4096;

// The fields as they follow one another in the record.
constexpr const char* kAddressFields[] = {
    "to",        "resentTo", "cc",         "resentCc", "bcc",
    "resentBcc", "from",     "resentFrom", "replyTo",  "returnReceiptTo"};
constexpr const char* kTextFields[] = {"subject",     "sender",
                                       "messageId",   "resentMessageId",
                                       "inReplyTo",   "references",
                                       "returnPath",  "status",
                                       "envelope",    "mimeVersion",
                                       "contentType", "contentTransferEncoding",
                                       "contentId",   "contentDescription"};

std::string tell_recipients(const AddrList& list, Detail detail) {
  EXPECT_EQ(list.text, nullptr);
  EXPECT_EQ(list.next, nullptr);
  if (list.recips == nullptr) {
    return "no table";
  }
  std::string out;
  unsigned count = 0;
  const Recipient* last = nullptr;
  for (const auto* r = list.recips->first; r != nullptr; r = r->next) {
    out += (count++ == 0 ? "" : " | ") + std::string(r->canon);
    for (const char* part :
         {r->orig, r->phrase, r->comment, r->local, r->domain}) {
      out += detail == Detail::kAll ? std::string(" ~ ") + part : "";
    }
    last = r;
  }
  EXPECT_EQ(list.recips->last, last);
  EXPECT_EQ(list.recips->count, count);
  return out;
}

// The text, unless the date is that of its parsing, as an unreadable one is.
// Two parses need not give the same text then.
std::string tell_date(const HdrDate& date) {
  std::tm fields{};
  fields.tm_year = date.utc->year - 1900;
  fields.tm_mon = date.utc->month - 1;
  fields.tm_mday = date.utc->day;
  fields.tm_hour = date.utc->hour;
  fields.tm_min = date.utc->minute - date.utc->zone;
  fields.tm_sec = date.utc->second;
  constexpr std::time_t kMinute = 60;
  const auto age = std::time(nullptr) - timegm(&fields);
  return std::abs(age) < kMinute ? "now" : date.text;
}

}  // namespace

std::string tell(const Header822& header, Detail detail) {
  std::string out;
  const auto tell_field = [&out](const char* name, const std::string& value) {
    out += std::string(name) + "=" + value + "\n";
  };
  const AddrList* const* list = &header.to;
  for (const char* name : kAddressFields) {
    if (*list != nullptr) {
      tell_field(name, tell_recipients(**list, detail));
    }
    ++list;
  }
  const char* const* text = &header.subject;
  for (const char* name : kTextFields) {
    if (*text != nullptr) {
      tell_field(name, *text);
    }
    ++text;
  }
  for (const auto* node = header.received; node != nullptr; node = node->next) {
    tell_field("received", node->text);
  }
  for (const auto* node = header.other; node != nullptr; node = node->next) {
    tell_field("other", node->text);
  }
  if (header.date != nullptr) {
    tell_field("date", tell_date(*header.date));
  }
  return out;
}

void PrintTo(const Parsed& parsed, std::ostream* out) {
  *out << "result " << parsed.result << ", " << parsed.lines
       << " lines, status line " << parsed.status_line << "\n"
       << parsed.record << "log: " << testing::PrintToString(parsed.log);
}

HeaderFile::HeaderFile(std::string_view bytes)
    : memory_(memfd_create("message", MFD_CLOEXEC)) {
  static const int started = InitLineIO();
  EXPECT_EQ(started, 0);
  EXPECT_EQ(write(memory_, bytes.data(), bytes.size()),
            static_cast<ssize_t>(bytes.size()));
  std::string path = "/proc/self/fd/" + std::to_string(memory_);
  handle_ = fileopen(path.data(), 0, 0);
  EXPECT_NE(handle_, -1);
}

HeaderFile::~HeaderFile() {
  fileclose(handle_);
  close(memory_);
}

Parsed HeaderFile::parse(Detail detail) const {
  const HeaderOwner header(New822Header());
  return parse_into(header.get(), detail);
}

Parsed HeaderFile::parse_into(Header822* header, Detail detail) const {
  LogCapture log;
  Parsed parsed;
  parsed.result = ParseHdr(handle_, header, &parsed.lines, &parsed.status_line);
  parsed.record = tell(*header, detail);
  parsed.log = log.take();
  return parsed;
}

ShiftedMessage::ShiftedMessage(std::string_view message)
    : file_(std::string(kBlock - 1, '-') + "\n" + std::string(message)) {}

Parsed ShiftedMessage::parse_with_edge_at(std::size_t byte) const {
  // The next read fills its block from here.
  setfpos(file_.handle(), static_cast<long>(byte));
  char* line = nullptr;
  while (getfpos(file_.handle()) < static_cast<long>(kBlock)) {
    configapi_getline(file_.handle(), &line);
  }
  return file_.parse(Detail::kAll);
}

Parsed parse(std::string_view bytes, Detail detail) {
  return HeaderFile(bytes).parse(detail);
}

std::string widen(std::string_view message, std::size_t blanks) {
  std::string out;
  bool in_name = true;
  for (const char c : message) {
    out += c;
    if (in_name && c == ':') {
      out.append(blanks, ' ');
    }
    in_name = c == '\n' || (in_name && c != ':' && c != ' ' && c != '\t');
  }
  return out;
}

}  // namespace test
