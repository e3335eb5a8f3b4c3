// Mailbox files: from one message to the next.

#include <configapi/rfc822.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <string_view>

namespace configapi {
namespace {

constexpr std::string_view kEnvelopeStart = "From ";
constexpr std::size_t kPieceSize = 1024;  // with its terminator

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

long as_long(off_t position) {
  return position <= std::numeric_limits<long>::max()
             ? static_cast<long>(position)
             : -1;
}

// Holds a stream, so that its bytes can be read without a lock for each.
class StreamLock {
 public:
  explicit StreamLock(FILE* stream) : stream_(stream) { flockfile(stream_); }
  ~StreamLock() { funlockfile(stream_); }
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;
  StreamLock(StreamLock&&) = delete;
  StreamLock& operator=(StreamLock&&) = delete;

 private:
  FILE* stream_;
};

}  // namespace
}  // namespace configapi

extern "C" int isNextMsgHeader(const char* line) {
  const std::string_view text(line);
  if (text.size() <= configapi::kEnvelopeStart.size() ||
      !text.starts_with(configapi::kEnvelopeStart) ||
      std::ranges::count(text, ':') < 2) {
    return 0;
  }
  const std::string_view word = text.substr(text.rfind(' ') + 1);
  const std::size_t digits = (word.size() + 3) / 2;
  return digits <= word.size() && std::ranges::all_of(word.substr(0, digits),
                                                      configapi::is_digit)
             ? 1
             : 0;
}

extern "C" int ParseBody(FILE* stream, long* endPos, unsigned int* lines) {
  const configapi::StreamLock lock(stream);
  std::array<char, configapi::kPieceSize> piece{};
  const auto size = static_cast<int>(piece.size());
  for (;; ++*lines) {
    const int first = getc_unlocked(stream);
    if (first == EOF) {
      *endPos = configapi::as_long(ftello(stream));
      return -1;
    }
    if (first != 'F') {
      // A read that fails shows at the next byte.
      [[maybe_unused]] const char* const rest =
          first != '\n' ? fgets_unlocked(piece.data(), size - 1, stream)
                        : nullptr;
      continue;
    }
    // Asking a stream where it stands costs more than reading a line: only
    // lines that may be envelope lines are asked for.
    (void)std::ungetc(first, stream);
    const off_t position = ftello(stream);
    if (fgets_unlocked(piece.data(), size, stream) != nullptr &&
        isNextMsgHeader(piece.data()) == 1) {
      *endPos = configapi::as_long(position);
      fseeko(stream, position, SEEK_SET);
      return 1;
    }
  }
}
