// What the fuzz targets share.

#ifndef CONFIGAPI_FUZZ_TARGET_H_
#define CONFIGAPI_FUZZ_TARGET_H_

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace fuzz {

inline void require(bool condition, int line = __builtin_LINE()) {
  if (!condition) {
    std::fprintf(stderr, "line %d: this does not hold\n", line);
    std::abort();
  }
}

inline std::string_view view(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A text up to its first NUL, in a block that ends with it.
inline std::unique_ptr<char[]> exact_copy(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::unique_ptr<char[]> copy(new char[text.size() + 1]);
  std::copy(text.begin(), text.end(), copy.get());
  copy[text.size()] = '\0';
  return copy;
}

// Takes the first line, which needs no end, off the text.
inline std::unique_ptr<char[]> take_line(std::string_view* text) {
  const std::string_view line = text->substr(0, text->find('\n'));
  text->remove_prefix(std::min(line.size() + 1, text->size()));
  return exact_copy(line);
}

// A file in memory, which goes with its last descriptor.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes)
      : fd_(memfd_create("fuzz", MFD_CLOEXEC)),
        path_("/proc/self/fd/" + std::to_string(fd_)) {
    require(write(fd_, bytes.data(), bytes.size()) ==
            static_cast<ssize_t>(bytes.size()));
  }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  MemoryFile(MemoryFile&&) = delete;
  MemoryFile& operator=(MemoryFile&&) = delete;

  char* path() { return path_.data(); }

  [[nodiscard]] std::string content() const {
    const off_t size = lseek(fd_, 0, SEEK_END);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    require(pread(fd_, bytes.data(), bytes.size(), 0) == size);
    return bytes;
  }

 private:
  int fd_;
  std::string path_;
};

}  // namespace fuzz

#endif  // CONFIGAPI_FUZZ_TARGET_H_
