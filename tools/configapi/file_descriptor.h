// Owns a file descriptor.

#ifndef CONFIGAPI_TOOLS_FILE_DESCRIPTOR_H_
#define CONFIGAPI_TOOLS_FILE_DESCRIPTOR_H_

#include <unistd.h>

namespace configapi::tool {

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  FileDescriptor(FileDescriptor&&) = delete;
  FileDescriptor& operator=(FileDescriptor&&) = delete;

  // Whether the descriptor was opened.
  explicit operator bool() const { return fd_ >= 0; }

  [[nodiscard]] int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_FILE_DESCRIPTOR_H_
