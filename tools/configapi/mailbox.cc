#include "mailbox.h"

#include <configapi/lineio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <utility>

#include "failure.h"
#include "host.h"

namespace configapi::tool {
namespace {

constexpr std::size_t kBlock = 65536;

Failure cannot_read(const MailFile& file) {
  return {ExitCode::kFile, "reading " + file.name() + " failed"};
}

// The library ends a message at lines that hold a whole envelope, times and
// all. A file that begins like one is a mailbox even if that line is not.
bool begins_with_from(std::FILE* stream, long begin) {
  constexpr std::string_view kFrom = "From ";
  std::array<char, kFrom.size()> bytes{};
  return std::fseek(stream, begin, SEEK_SET) == 0 &&
         std::fread(bytes.data(), 1, bytes.size(), stream) == bytes.size() &&
         std::string_view(bytes.data(), bytes.size()) == kFrom;
}

}  // namespace

Mailbox::Mailbox(const MailFile& file)
    : file_(file),
      is_mailbox_(begins_with_from(file.stream(), file.begin())),
      position_(file.begin()),
      counted_to_(file.begin()) {}

// ParseHdr() leaves the handle behind the header, whatever it has read ahead;
// ParseBody() goes on from there on the stream. Each is told where to begin.
std::optional<Message> Mailbox::next() {
  if (position_ >= file_.size()) {
    return std::nullopt;
  }
  Message message{};
  message.number = ++number_;
  message.line = line_at(position_);
  message.byte = position_;
  message.header.reset(New822Header());
  if (message.header == nullptr) {
    throw std::bad_alloc();
  }
  take_last_error();
  if (setfpos(file_.handle(), position_) < 0 ||
      ParseHdr(file_.handle(), message.header.get(), &message.header_lines,
               &message.status_line) == 0) {
    throw cannot_read(file_);
  }
  message.complaint = take_last_error();
  message.body = getfpos(file_.handle());
  message.end = is_mailbox_ ? skip_body(message.body) : file_.size();
  // A header takes up a line at least, or the file ends here.
  position_ = message.end > position_ ? message.end : file_.size();
  return message;
}

long Mailbox::skip_body(long body) {
  unsigned lines = 0;
  long end = 0;
  if (std::fseek(file_.stream(), body, SEEK_SET) != 0) {
    throw cannot_read(file_);
  }
  const int found = ParseBody(file_.stream(), &end, &lines);
  if (std::ferror(file_.stream()) != 0) {
    throw cannot_read(file_);
  }
  return found == 1 ? end : file_.size();
}

// Counted in the file itself: for the library a long line of a body is several.
long Mailbox::line_at(long byte) {
  std::array<char, kBlock> block;
  const int fd = fileno(file_.stream());
  while (counted_to_ < byte) {
    const auto wanted =
        std::min(block.size(), static_cast<std::size_t>(byte - counted_to_));
    const ssize_t got = ::pread(fd, block.data(), wanted, counted_to_);
    if (got <= 0) {
      throw cannot_read(file_);
    }
    lines_before_ += std::count(block.data(), block.data() + got, '\n');
    counted_to_ += got;
  }
  return lines_before_ + 1;
}

}  // namespace configapi::tool
