#include "support/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace test {

TempFolder::TempFolder()
    : folder_(std::filesystem::temp_directory_path() / "configapi-XXXXXX") {
  if (mkdtemp(folder_.data()) == nullptr) {
    throw std::runtime_error("no temporary folder: " + folder_);
  }
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string TempFolder::path(std::string_view name) const {
  return folder_ + "/" + std::string(name);
}

std::string TempFolder::write(std::string_view name,
                              std::string_view bytes) const {
  auto file = path(name);
  std::ofstream out(file, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) {
    throw std::runtime_error("cannot write " + file);
  }
  return file;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace test
