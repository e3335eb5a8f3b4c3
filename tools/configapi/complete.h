// What a shell may put in place of a half-typed word.

#ifndef CONFIGAPI_TOOLS_COMPLETE_H_
#define CONFIGAPI_TOOLS_COMPLETE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace configapi::tool {

// The words that the last one may become, in no quotes; without any where
// nothing is known, and nothing at all where a file is wanted. Commands and
// options are the application's, sections and keys the schema's. A setting
// stands where an argument is named ADDRESS or GLOB; a section's keys are
// offered once no other section's name begins like the word.
// REQUIRES: words is not empty.
std::optional<std::vector<std::string>> complete(
    const CLI::App& app, const std::vector<std::string>& words);

// The words of a command line behind its first, without their quotes and
// backslashes (POSIX shell, 2.2); the last one, which a blank at the end makes
// empty, may have an open quote. Nothing is expanded.
std::vector<std::string> split_line(std::string_view line);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_COMPLETE_H_
