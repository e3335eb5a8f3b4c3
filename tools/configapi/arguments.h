// The words of the command line, taken as they stand. Left to itself, CLI11
// makes several values of "[a, b]" and none of "{}".

#ifndef CONFIGAPI_TOOLS_ARGUMENTS_H_
#define CONFIGAPI_TOOLS_ARGUMENTS_H_

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace configapi::tool {

// Adds an argument that takes any number of texts.
CLI::Option* add_texts(CLI::App* command, const std::string& name,
                       std::vector<std::string>* texts,
                       const std::string& what);

// Parses the words. REQUIRES: all options and commands have been added.
void parse_words(CLI::App* app, int argc, char** argv);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_ARGUMENTS_H_
