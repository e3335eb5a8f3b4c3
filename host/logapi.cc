#include <configapi/host.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr int kErrorLevel = 1;
constexpr int kDefaultThreshold = 6;

int threshold() {
  const char* text = std::getenv("CONFIGAPI_LOG_LEVEL");
  int level = kDefaultThreshold;
  if (text != nullptr) {
    // A word in place of a number leaves the default: it silences nothing.
    std::from_chars(text, text + std::strlen(text), level);
  }
  return level;
}

bool to_syslog() {
  const char* text = std::getenv("CONFIGAPI_LOG");
  return text != nullptr && std::strcmp(text, "syslog") == 0;
}

// A control byte could end the line and begin a forged one.
void append_printable(std::string* line, const char* text) {
  for (; text != nullptr && *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    line->push_back(byte < ' ' || byte == 0x7F ? '?' : *text);
  }
}

std::string now_utc() {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  gmtime_r(&now, &fields);
  std::array<char, 32> text{};
  const std::size_t length =
      std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &fields);
  return {text.data(), length};
}

// One write per entry keeps lines of several threads apart.
void write_line(const std::string& line) {
  const char* next = line.data();
  std::size_t left = line.size();
  while (left > 0) {
    const ssize_t written = ::write(STDERR_FILENO, next, left);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    next += written;
    left -= static_cast<std::size_t>(written);
  }
}

}  // namespace

extern "C" void LogMessage(int level, const char* source,
                           const char* text) try {
  if (level > threshold()) {
    return;
  }
  std::string message;
  append_printable(&message, source);
  message += ": ";
  append_printable(&message, text);
  if (to_syslog()) {
    syslog(level <= kErrorLevel ? LOG_MAIL | LOG_ERR : LOG_MAIL | LOG_INFO,
           "%s", message.c_str());
    return;
  }
  write_line(now_utc() + " " + std::to_string(level) + " " + message + "\n");
} catch (...) {
  // Out of memory: an entry is lost, the host goes on.
}
