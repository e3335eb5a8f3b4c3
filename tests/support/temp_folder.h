// A folder for a test's files, and ways to fill and read them.

#ifndef CONFIGAPI_TESTS_TEMP_FOLDER_H_
#define CONFIGAPI_TESTS_TEMP_FOLDER_H_

#include <string>
#include <string_view>

namespace test {

// Made on construction, removed with all it holds on destruction.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  TempFolder(TempFolder&&) = delete;
  TempFolder& operator=(TempFolder&&) = delete;

  [[nodiscard]] std::string path(std::string_view name) const;

  // Writes a file with these bytes and returns its path.
  [[nodiscard]] std::string write(std::string_view name,
                                  std::string_view bytes) const;

 private:
  std::string folder_;
};

// All bytes of a file; the test fails when it cannot be read.
std::string read_file(const std::string& path);

}  // namespace test

#endif  // CONFIGAPI_TESTS_TEMP_FOLDER_H_
