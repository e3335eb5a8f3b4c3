// Reads the lines of a header and joins them.

#include <configapi/host.h>
#include <configapi/internals.h>
#include <configapi/rfc822.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/ascii.h"
#include "base/critical_section_lock.h"
#include "base/heap_text.h"
#include "lineio/file_object.h"
#include "rfc822/headerfiler.h"
#include "rfc822/headertable.h"

namespace configapi {
namespace {

// A header with its joins and its terminator takes at most 63 blocks: enough
// for a list of a thousand recipients, and a bound on what a stranger's
// message can make the process keep.
constexpr std::size_t kBlock = 1024;
constexpr std::size_t kHeaderLimit = 63 * kBlock;
constexpr std::size_t kTextLimit = kHeaderLimit - 1;

constexpr std::string_view kJoin = "\r\n\t";

void log_failure(const char* text) {
  LogMessage(1, "ParseHdr", text);
}

std::string_view up_to_nul(std::string_view piece) {
  const void* nul = std::memchr(piece.data(), '\0', piece.size());
  return nul == nullptr
             ? piece
             : piece.substr(
                   0, static_cast<std::size_t>(static_cast<const char*>(nul) -
                                               piece.data()));
}

// A line holds at most one line feed, its last byte.
std::string_view cut_feed(std::string_view line) {
  line.remove_suffix(line.ends_with('\n') ? 1 : 0);
  return line;
}

std::string_view cut_return(std::string_view line) {
  const void* last = memrchr(line.data(), '\r', line.size());
  return last == nullptr
             ? line
             : line.substr(
                   0, static_cast<std::size_t>(static_cast<const char*>(last) -
                                               line.data()));
}

class HeaderReader {
 public:
  HeaderReader(OBX_FILE* file, Header822* header)
      : file_(file), filer_(header) {}

  // Returns what ParseHdr() does.
  int read();

  [[nodiscard]] unsigned lines() const { return lines_; }
  [[nodiscard]] unsigned status_line() const { return status_line_; }

 private:
  enum class Step { kLine, kEmptyLine, kEndOfFile, kFailure };

  bool allocate();
  bool reserve(std::size_t size);
  Step next_piece(std::string_view* piece);
  Step next_line(std::string_view* line);
  bool join_pieces(std::string_view piece, std::string_view* line);
  bool begin_header(std::string_view line);
  bool continue_header(std::string_view line);
  void file_header();

  OBX_FILE* file_;
  HeaderFiler filer_;
  HeapText buffer_;
  std::size_t capacity_ = 0;
  std::size_t length_ =
      0;  // of the header being gathered; 0 when there is none
  unsigned header_line_ = 0;  // the line on which it began
  unsigned lines_ = 0;
  unsigned status_line_ = 0;
};

int HeaderReader::read() {
  if (!allocate()) {
    return 0;
  }
  for (;;) {
    std::string_view line;
    const Step step = next_line(&line);
    if (step == Step::kFailure) {
      return 0;
    }
    lines_ += step == Step::kEndOfFile ? 0 : 1;
    if (step != Step::kLine) {
      file_header();
      return 1;
    }
    if (line.empty() || !ascii_space(line.front())) {
      file_header();
      if (!begin_header(line)) {
        return 0;
      }
      continue;
    }
    if (length_ + line.size() + kJoin.size() + 1 > kHeaderLimit) {
      log_failure("too many headers to parse.");
      file_header();
      return 1;
    }
    if (!continue_header(line)) {
      return 0;
    }
  }
}

bool HeaderReader::allocate() {
  // One byte more than a block: the longest line that comes in one piece.
  capacity_ = kBlock + 1;
  buffer_.reset(static_cast<char*>(std::malloc(capacity_)));
  if (buffer_ == nullptr) {
    log_failure("malloc failed.");
  }
  return buffer_ != nullptr;
}

bool HeaderReader::reserve(std::size_t size) {
  if (size <= capacity_) {
    return true;
  }
  const std::size_t larger = std::max(size, 2 * capacity_);
  auto* moved = static_cast<char*>(std::realloc(buffer_.get(), larger));
  if (moved == nullptr) {
    log_failure("realloc failed.");
    return false;
  }
  static_cast<void>(buffer_.release());
  buffer_.reset(moved);
  capacity_ = larger;
  return true;
}

HeaderReader::Step HeaderReader::next_piece(std::string_view* piece) {
  const int result = file_ != nullptr ? read_line(file_, piece) : -1;
  if (result < 0) {
    log_failure("getline failed.");
    return Step::kFailure;
  }
  return result == 0 ? Step::kEndOfFile : Step::kLine;
}

// Next line without its line end and without what stands behind a NUL. Only a
// line that holds nothing is the empty line: a NUL must not make one.
HeaderReader::Step HeaderReader::next_line(std::string_view* line) {
  std::string_view piece;
  const Step step = next_piece(&piece);
  if (step != Step::kLine) {
    return step;
  }
  const bool begins_with_nul = piece.front() == '\0';
  if (piece.ends_with('\n')) {
    *line = cut_return(cut_feed(up_to_nul(piece)));
  } else if (!join_pieces(piece, line)) {
    return Step::kFailure;
  }
  return line->empty() && !begins_with_nul ? Step::kEmptyLine : Step::kLine;
}

// Joins a line that the line buffer could not hold, behind the header being
// gathered: what it is (more of that header, the next one, or the end) shows
// only once its last carriage return is known. Of the line as much is kept as
// a header may have, the rest is read and dropped.
bool HeaderReader::join_pieces(std::string_view piece, std::string_view* line) {
  const std::size_t begin = length_ + 1;
  std::size_t kept = 0;
  bool nul_seen = false;
  bool return_dropped = false;
  Step step = Step::kLine;
  while (step == Step::kLine) {
    const std::string_view text =
        nul_seen ? std::string_view() : up_to_nul(piece);
    nul_seen = text.size() < piece.size();
    const std::size_t taken = std::min(text.size(), kTextLimit - kept);
    // Either place that the line may move to has then room for it.
    if (!reserve(begin + kept + taken + kJoin.size() + 1)) {
      return false;
    }
    std::copy_n(text.data(), taken, &buffer_[begin + kept]);
    kept += taken;
    return_dropped |= text.find('\r', taken) != std::string_view::npos;
    if (piece.ends_with('\n')) {
      break;
    }
    step = next_piece(&piece);
  }
  const std::string_view joined = cut_feed({&buffer_[begin], kept});
  *line = return_dropped ? joined : cut_return(joined);
  return step != Step::kFailure;
}

bool HeaderReader::begin_header(std::string_view line) {
  const std::size_t size = std::min(line.size(), kTextLimit);
  if (!reserve(size + 1)) {
    return false;
  }
  std::memmove(buffer_.get(), line.data(), size);
  length_ = size;
  header_line_ = lines_;
  return true;
}

bool HeaderReader::continue_header(std::string_view line) {
  const auto* rest = std::ranges::find_if_not(line, ascii_space);
  line.remove_prefix(static_cast<std::size_t>(rest - line.begin()));
  if (!reserve(length_ + kJoin.size() + line.size() + 1)) {
    return false;
  }
  if (length_ == 0) {
    header_line_ = lines_;
  }
  char* const end = &buffer_[length_];
  // A joined line lies where it is moved from: the join is written after it.
  std::memmove(end + kJoin.size(), line.data(), line.size());
  std::ranges::copy(kJoin, end);
  length_ += kJoin.size() + line.size();
  return true;
}

void HeaderReader::file_header() {
  if (length_ == 0) {
    return;
  }
  buffer_[length_] = '\0';
  if (filer_.file(buffer_.get(), length_) == kStatus && status_line_ == 0) {
    status_line_ = header_line_;
  }
  length_ = 0;
}

}  // namespace
}  // namespace configapi

extern "C" int ParseHdr(int handle, Header822* hdr, unsigned int* lines,
                        unsigned int* statusLine) {
  return OBX_ParseHdr(handle, hdr, lines, statusLine);
}

extern "C" int OBX_ParseHdr(int handle, Header822* hdr, unsigned int* lines,
                            unsigned int* statusLine) {
  const configapi::CriticalSectionLock lock(&csParseHdr);
  return ST_ParseHdr(handle, hdr, lines, statusLine);
}

extern "C" int ST_ParseHdr(int handle, Header822* hdr, unsigned int* lines,
                           unsigned int* statusLine) {
  configapi::HeaderReader reader(configapi::find_file(handle), hdr);
  const int result = reader.read();
  *lines = reader.lines();
  *statusLine = reader.status_line();
  return result;
}
