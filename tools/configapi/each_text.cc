#include "each_text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "failure.h"

namespace configapi::tool {

void for_each_text(const std::vector<std::string>& texts,
                   const std::function<void(const std::string&)>& use) {
  for (const auto& text : texts) {
    use(text);
  }
  if (!texts.empty()) {
    return;
  }
  for (std::string line; std::getline(std::cin, line);) {
    line.resize(std::strlen(line.c_str()));
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    if (line.find_first_not_of(" \t") != std::string::npos) {
      use(line);
    }
  }
  if (std::ferror(stdin) != 0) {
    throw Failure(ExitCode::kFile, std::string("cannot read standard input: ") +
                                       std::strerror(errno));
  }
}

}  // namespace configapi::tool
