#include "rfc822/header_fixture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <ostream>
#include <utility>

namespace test {
namespace {

void tell_recipients(const AddrList* list, Detail detail, std::string* out) {
  if (list->recips == nullptr) {
    *out += "no table";
    return;
  }
  unsigned count = 0;
  for (const Recipient* recipient = list->recips->first; recipient != nullptr;
       recipient = recipient->next, ++count) {
    *out += count == 0 ? "" : " | ";
    *out += recipient->canon;
    if (detail == Detail::kAll) {
      for (const char* part :
           {recipient->orig, recipient->phrase, recipient->comment,
            recipient->local, recipient->domain}) {
        *out += " ~ ";
        *out += part;
      }
    }
    EXPECT_EQ(recipient->next == nullptr, recipient == list->recips->last);
  }
  EXPECT_EQ(list->recips->count, count);
  EXPECT_EQ(list->text, nullptr);
  EXPECT_EQ(list->next, nullptr);
}

// Whether the date is that of its parsing, as an unreadable one is. Two
// parses need not give the same text then.
bool is_now(const UTC_DATE& date) {
  std::tm fields{};
  fields.tm_year = date.year - 1900;
  fields.tm_mon = date.month - 1;
  fields.tm_mday = date.day;
  fields.tm_hour = date.hour;
  fields.tm_min = date.minute - date.zone;
  fields.tm_sec = date.second;
  constexpr std::time_t kMinute = 60;
  return std::abs(timegm(&fields) - std::time(nullptr)) < kMinute;
}

std::string tell_date(const HdrDate& date) {
  return date.utc != nullptr && is_now(*date.utc) ? "now" : date.text;
}

}  // namespace

std::string tell(const Header822& header, Detail detail) {
  std::string out;
  const auto addresses = [&](const char* name, const AddrList* list) {
    if (list != nullptr) {
      out += std::string(name) + "=";
      tell_recipients(list, detail, &out);
      out += "\n";
    }
  };
  const auto text = [&](const char* name, const char* value) {
    if (value != nullptr) {
      out += std::string(name) + "=" + value + "\n";
    }
  };
  const auto texts = [&](const char* name, const TextList* list) {
    for (; list != nullptr; list = list->next) {
      text(name, list->text);
    }
  };
  addresses("to", header.to);
  addresses("resentTo", header.resentTo);
  addresses("cc", header.cc);
  addresses("resentCc", header.resentCc);
  addresses("bcc", header.bcc);
  addresses("resentBcc", header.resentBcc);
  addresses("from", header.from);
  addresses("resentFrom", header.resentFrom);
  addresses("replyTo", header.replyTo);
  addresses("returnReceiptTo", header.returnReceiptTo);
  text("subject", header.subject);
  text("sender", header.sender);
  text("messageId", header.messageId);
  text("resentMessageId", header.resentMessageId);
  text("inReplyTo", header.inReplyTo);
  text("references", header.references);
  text("returnPath", header.returnPath);
  text("status", header.status);
  text("envelope", header.envelope);
  text("mimeVersion", header.mimeVersion);
  text("contentType", header.contentType);
  text("contentTransferEncoding", header.contentTransferEncoding);
  text("contentId", header.contentId);
  text("contentDescription", header.contentDescription);
  texts("received", header.received);
  texts("other", header.other);
  if (header.date != nullptr) {
    text("date", tell_date(*header.date).c_str());
  }
  return out;
}

bool operator==(const Parsed& a, const Parsed& b) {
  return a.result == b.result && a.lines == b.lines &&
         a.status_line == b.status_line && a.record == b.record &&
         a.log == b.log;
}

void PrintTo(const Parsed& parsed, std::ostream* out) {
  *out << "result " << parsed.result << ", " << parsed.lines
       << " lines, status line " << parsed.status_line << "\n"
       << parsed.record;
  for (const auto& line : parsed.log) {
    *out << "log: " << line << "\n";
  }
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
  parsed.lines = parsed.status_line = ~0U;
  parsed.result = ParseHdr(handle_, header, &parsed.lines, &parsed.status_line);
  parsed.end = getfpos(handle_);
  parsed.record = tell(*header, detail);
  parsed.log = log.take();
  return parsed;
}

constexpr std::size_t kBlock = 4096;

ShiftedMessage::ShiftedMessage(std::string_view message)
    : file_([&] {
        std::string bytes;
        while (bytes.size() < kBlock) {
          bytes += std::string(1023, '-') + "\n";
        }
        return bytes.append(message);
      }()) {}

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

std::string with_lf(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    if (c == '\n' && out.ends_with('\r')) {
      out.pop_back();
    }
    out += c;
  }
  return out;
}

std::string with_crlf(std::string_view bytes) {
  std::string out;
  for (const char c : with_lf(bytes)) {
    out += c == '\n' ? "\r\n" : std::string(1, c);
  }
  return out;
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
