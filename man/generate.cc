// Writes the manual pages: of the tool from its document, of the library from
// its public headers.
//
//   generate_man VERSION DATE OUTPUT_FOLDER FILE...
//
// A FILE that ends in .md gives configapi.1, one that ends in .h
// configapi_NAME.3.

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <span>
#include <stdexcept>

#include "page.h"

namespace {

man::Lines lines_of(const std::filesystem::path& file) {
  std::ifstream in(file);
  man::Lines lines;
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  if (lines.empty()) {
    throw std::runtime_error("nothing to read in " + file.string());
  }
  return lines;
}

void write(const std::filesystem::path& file, const man::Page& page) {
  std::ofstream out(file);
  out << page.text();
  if (!out.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 5) {
    std::cerr << "usage: generate_man VERSION DATE OUTPUT_FOLDER FILE...\n";
    return 2;
  }
  const std::span arguments(argv, static_cast<std::size_t>(argc));
  const std::string version = arguments[1];
  const std::string date = arguments[2];
  const std::filesystem::path folder = arguments[3];
  for (const std::filesystem::path file : arguments.subspan(4)) {
    const auto name = file.stem().string();
    if (file.extension() == ".md") {
      write(folder / "configapi.1",
            man::tool_page(lines_of(file), version, date));
    } else {
      write(folder / ("configapi_" + name + ".3"),
            man::header_page(name, lines_of(file), version, date));
    }
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << "generate_man: " << error.what() << '\n';
  return 1;
}
