// Texts from the command line, or the lines of standard input.

#ifndef CONFIGAPI_TOOLS_EACH_TEXT_H_
#define CONFIGAPI_TOOLS_EACH_TEXT_H_

#include <functional>
#include <string>
#include <vector>

namespace configapi::tool {

// Calls `use` for each of the texts; without any, for each line of standard
// input that is not blank, without its line end and up to a NUL byte. Throws a
// Failure (kFile) when standard input cannot be read.
void for_each_text(const std::vector<std::string>& texts,
                   const std::function<void(const std::string&)>& use);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_EACH_TEXT_H_
