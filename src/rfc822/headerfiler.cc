#include "rfc822/headerfiler.h"

#include <configapi/host.h>
#include <configapi/internals.h>
#include <configapi/rfcdate.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "base/ascii.h"
#include "base/heap_text.h"
#include "date/read_date.h"
#include "rfc822/headertable.h"

namespace configapi {
namespace {

// The field that takes a header's recipients, or null.
AddrList** address_field(Header822* header, int code) {
  switch (code) {
    case kTo:
      return &header->to;
    case kFrom:
      return &header->from;
    case kCc:
      return &header->cc;
    case kBcc:
      return &header->bcc;
    case kResentTo:
      return &header->resentTo;
    case kResentCc:
      return &header->resentCc;
    case kResentBcc:
      return &header->resentBcc;
    case kResentFrom:
      return &header->resentFrom;
    case kReplyTo:
      return &header->replyTo;
    case kReturnReceiptTo:
      return &header->returnReceiptTo;
    default:
      return nullptr;
  }
}

// The field that takes a header's text, or null.
char** text_field(Header822* header, int code) {
  switch (code) {
    case kSubject:
      return &header->subject;
    case kSender:
      return &header->sender;
    case kMessageId:
      return &header->messageId;
    case kResentMessageId:
      return &header->resentMessageId;
    case kInReplyTo:
      return &header->inReplyTo;
    case kReferences:
      return &header->references;
    case kReturnPath:
      return &header->returnPath;
    case kEnvelope:
      return &header->envelope;
    case kStatus:
      return &header->status;
    case kMimeVersion:
      return &header->mimeVersion;
    case kContentType:
      return &header->contentType;
    case kContentTransferEncoding:
      return &header->contentTransferEncoding;
    case kContentId:
      return &header->contentId;
    case kContentDescription:
      return &header->contentDescription;
    default:
      return nullptr;
  }
}

constexpr std::size_t kDateTextSize = 64;  // what UTC2rfc() may fill

void log_no_memory() {
  LogMessage(1, "ParseLine", "malloc failed.");
}

constexpr auto kEndsName = [] {
  std::array<bool, 256> table{};
  for (const char c : {':', ' ', '\t', '\n'}) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}();

constexpr bool ends_name(char c) {
  return kEndsName[static_cast<unsigned char>(c)];
}

// Makes one blank of each line break and the whitespace after it; returns the
// new length.
std::size_t unfold(char* text, std::size_t length) {
  char* const end = text + length;
  const char* from = text;
  char* to = text;
  while (from < end) {
    const auto left = static_cast<std::size_t>(end - from);
    const auto* feed = static_cast<const char*>(std::memchr(from, '\n', left));
    const char* part_end = feed == nullptr ? end : feed;
    if (feed != nullptr && feed > from && feed[-1] == '\r') {
      --part_end;
    }
    std::copy(from, part_end, to);
    to += part_end - from;
    if (feed == nullptr) {
      break;
    }
    *to++ = ' ';
    from =
        std::find_if_not(feed + 1, static_cast<const char*>(end), ascii_space);
  }
  *to = '\0';
  return static_cast<std::size_t>(to - text);
}

// False when the present time lies outside the years of a UTC_DATE.
bool read_clock(UTC_DATE* date) {
  // ctime_r() need not read the zone, which the record takes. Read once: other
  // threads may look at it meanwhile.
  static std::once_flag zone;
  std::call_once(zone, tzset);
  const std::time_t now = std::time(nullptr);
  std::array<char, 64> text{};
  return ctime_r(&now, text.data()) != nullptr &&
         read_ctime_date(text.data(), date);
}

}  // namespace

int HeaderFiler::file(char* text, std::size_t length) {
  char* const end = text + length;
  char* const name_end = std::find_if(text, end, ends_name);
  const std::string_view name(text, static_cast<std::size_t>(name_end - text));
  const HdrName* row = find_header_name(name, *name_end);
  if (row == nullptr) {
    return -1;
  }
  char* const value =
      name_end == end ? end : std::find_if_not(name_end + 1, end, ascii_space);
  auto value_length = static_cast<std::size_t>(end - value);
  if ((row->flags & kUnfolded) != 0) {
    value_length = unfold(value, value_length);
  }
  const std::string_view value_text(value, value_length);

  const int code = row->code;
  bool filed = false;
  if (AddrList** list = address_field(header_, code); list != nullptr) {
    filed = add_addresses(list, value);
  } else if (char** field = text_field(header_, code); field != nullptr) {
    filed = store_text(field, value_text);
  } else if (code == kDate || code == kResentDate) {
    filed = store_date(value);
  } else if (code == kReceived) {
    filed = append_received(value_text);
  } else {
    filed = append_other(name, value_text);
  }
  if (!filed) {
    log_no_memory();
    return -1;
  }
  return code;
}

bool HeaderFiler::add_addresses(AddrList** field, char* value) {
  if (*field != nullptr) {
    AddParse(value, &(*field)->recips);
    return (*field)->recips != nullptr;
  }
  auto node = heap_record<AddrList>();
  if (node == nullptr) {
    return false;
  }
  AddParse(value, &node->recips);
  if (node->recips == nullptr) {
    return false;
  }
  *field = node.release();
  return true;
}

bool HeaderFiler::store_text(char** field, std::string_view value) {
  if (*field == nullptr) {
    *field = heap_copy(value).release();
  }
  return *field != nullptr;
}

bool HeaderFiler::store_date(const char* value) {
  if (header_->date != nullptr) {
    return true;
  }
  auto date = heap_record<HdrDate>();
  auto utc = heap_record<UTC_DATE>();
  HeapText text(static_cast<char*>(std::malloc(kDateTextSize)));
  if (date == nullptr || utc == nullptr || text == nullptr) {
    return false;
  }
  // A date that cannot be read is the moment of parsing.
  if (read_rfc822_date(value, utc.get()) || read_clock(utc.get())) {
    date->utc = utc.release();
  }
  UTC2rfc(date->utc, text.get());
  date->text = text.release();
  header_->date = date.release();
  return true;
}

bool HeaderFiler::append_received(std::string_view value) {
  return append(&header_->received, &received_end_, heap_copy(value).release());
}

bool HeaderFiler::append_other(std::string_view name, std::string_view value) {
  constexpr std::string_view kSeparator = ": ";
  auto* text = static_cast<char*>(
      std::malloc(name.size() + kSeparator.size() + value.size() + 1));
  if (text != nullptr) {
    char* to = std::ranges::transform(name, text, ascii_lower).out;
    to = std::ranges::copy(kSeparator, to).out;
    to = std::ranges::copy(value, to).out;
    *to = '\0';
    *text = ascii_upper(*text);  // of an empty name it is the separator's
  }
  return append(&header_->other, &other_end_, text);
}

bool HeaderFiler::append(TextList** list, TextList*** end, char* text) {
  HeapText owned(text);
  auto node = heap_record<TextList>();
  if (owned == nullptr || node == nullptr) {
    return false;
  }
  TextList** last = *end != nullptr ? *end : list;
  while (*last != nullptr) {
    last = &(*last)->next;
  }
  node->text = owned.release();
  *end = &node->next;
  *last = node.release();
  return true;
}

}  // namespace configapi

extern "C" int ParseLine(const char* line, Header822* hdr) {
  const std::string_view text(line);
  const configapi::HeapText copy = configapi::heap_copy(text);
  if (copy == nullptr) {
    configapi::log_no_memory();
    return -1;
  }
  return configapi::HeaderFiler(hdr).file(copy.get(), text.size());
}

extern "C" unsigned int AddParse(char* value, RecipTable** slot) {
  if (*slot == nullptr) {
    *slot = configapi::heap_record<RecipTable>().release();
  }
  return *slot != nullptr ? RecipParse(value, *slot, 0) : 0;
}
