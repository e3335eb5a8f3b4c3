#include "new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "failure.h"
#include "file_descriptor.h"

namespace configapi::tool {
namespace {

Failure cannot_write(const std::string& path) {
  return {ExitCode::kFile,
          "cannot write " + path + ": " + std::strerror(errno)};
}

// Beside the file, as a file cannot be renamed into another file system.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& beside)
      : path_(beside + ".XXXXXX"), fd_(mkostemp(path_.data(), O_CLOEXEC)) {}
  ~TemporaryFile() {
    if (fd_) {
      ::unlink(path_.c_str());
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  TemporaryFile(TemporaryFile&&) = delete;
  TemporaryFile& operator=(TemporaryFile&&) = delete;

  [[nodiscard]] bool take(std::string_view content) const {
    while (!content.empty()) {
      const ssize_t put = ::write(fd_.get(), content.data(), content.size());
      if (put < 0 && errno != EINTR) {
        return false;
      }
      content.remove_prefix(put > 0 ? static_cast<std::size_t>(put) : 0);
    }
    return ::fsync(fd_.get()) == 0;
  }

  explicit operator bool() const { return static_cast<bool>(fd_); }
  [[nodiscard]] const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
  FileDescriptor fd_;
};

// Where the file is or shall be, links followed.
std::string real_path(const std::string& path) {
  std::error_code error;
  const auto real = std::filesystem::weakly_canonical(path, error);
  return error ? path : real.string();
}

}  // namespace

void replace_file(const std::string& path, std::string_view content) {
  const std::string target = real_path(path);
  struct stat status {};
  if (::stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    throw Failure(ExitCode::kFile,
                  "cannot write " + path + ": not a regular file");
  }
  const TemporaryFile file(target);
  if (!file || !file.take(content) ||
      std::rename(file.path(), target.c_str()) != 0) {
    throw cannot_write(path);
  }
  // That the new name, too, outlasts a power failure. Not every file system
  // can do so, and the file is there.
  const FileDescriptor folder(
      ::open(std::filesystem::path(target).parent_path().c_str(),
             O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) {
    ::fsync(folder.get());
  }
}

}  // namespace configapi::tool
