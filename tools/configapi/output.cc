#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "utf8.h"

namespace configapi::tool {
namespace {

void append_escaped(std::string* text, unsigned char byte) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  switch (byte) {
    case '\n':
      *text += "\\n";
      break;
    case '\r':
      *text += "\\r";
      break;
    case '\t':
      *text += "\\t";
      break;
    default:
      *text += {'\\', 'x', kHex[byte >> 4U], kHex[byte & 0xFU]};
  }
}

[[noreturn]] void output_failed() {
  throw Failure(ExitCode::kFile, std::string("cannot write standard output: ") +
                                     std::strerror(errno));
}

std::string on_one_line(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string visible(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t length = utf8_printable(bytes);
    if (length == 0) {
      append_escaped(&text, static_cast<unsigned char>(bytes.front()));
    }
    text += bytes.substr(0, length);
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

void pad_to(std::string* line, std::size_t column) {
  const std::size_t width = utf8_length(*line);
  line->append(width + 2 <= column ? column - width : 2, ' ');
}

void Output::line(std::string text) const {
  text.push_back('\n');
  write(text);
}

void Output::object(const Json& object) const {
  write(on_one_line(object));
}

void Output::finish() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    output_failed();
  }
}

void Output::error(const Failure& failure) const {
  complain(rendered(failure));
}

void Output::warning(const std::string& text) const {
  if (!quiet) {
    complain(json ? on_one_line({{"warning", text}})
                  : "configapi: warning: " + visible(text) + "\n");
  }
}

std::string Output::rendered(const Failure& failure) const {
  if (quiet) {
    return {};
  }
  if (json) {
    Json object{{"error", failure.what()},
                {"exit", static_cast<int>(failure.code())}};
    if (!failure.nearest().empty()) {
      object["nearest"] = failure.nearest();
    }
    return on_one_line(object);
  }
  std::string text = "configapi: " + visible(failure.what());
  if (!failure.nearest().empty()) {
    text += "; did you mean " + failure.nearest() + "?";
  }
  return text + "\n";
}

void Output::complain(const std::string& line) const {
  if (before_write) {
    before_write();
  }
  std::fflush(stdout);  // lines and errors in the order in which they arose
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void Output::write(std::string_view bytes) const {
  static const bool to_terminal = ::isatty(STDOUT_FILENO) != 0;
  if (before_write && to_terminal) {
    before_write();
  }
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
    output_failed();
  }
}

}  // namespace configapi::tool
