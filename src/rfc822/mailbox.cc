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

// The next byte of the stream, which stays unread.
int peek(FILE* stream) {
  const int byte = std::getc(stream);
  return byte == EOF ? EOF : std::ungetc(byte, stream);
}

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
  std::array<char, configapi::kPieceSize> piece{};
  const auto size = static_cast<int>(piece.size());
  for (;; ++*lines) {
    // Asking a stream where it stands costs more than reading a line, so only
    // lines that may be envelope lines are asked for.
    const bool candidate = configapi::peek(stream) == 'F';
    const off_t position = candidate ? ftello(stream) : -1;
    if (std::fgets(piece.data(), size, stream) == nullptr) {
      *endPos = configapi::as_long(ftello(stream));
      return -1;
    }
    if (candidate && isNextMsgHeader(piece.data()) == 1) {
      *endPos = configapi::as_long(position);
      fseeko(stream, position, SEEK_SET);
      return 1;
    }
  }
}
