#include "mail_file.h"

#include <configapi/lineio.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "failure.h"
#include "file_descriptor.h"

namespace configapi::tool {
namespace {

constexpr std::size_t kBlock = 65536;

Failure failed(const std::string& what) {
  return {ExitCode::kFile, what + ": " + std::strerror(errno)};
}

std::string temporary_folder() {
  const char* folder = std::getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

void write_all(int fd, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(fd, bytes, count);
    if (written < 0 && errno != EINTR) {
      throw failed("cannot write a temporary file");
    }
    if (written > 0) {
      bytes += written;
      count -= static_cast<std::size_t>(written);
    }
  }
}

// The library counts positions in longs.
long checked_size(off_t size, const std::string& name) {
  if (size > LONG_MAX) {
    throw Failure(ExitCode::kFile,
                  name + " is too large for a 32-bit program: 2 GiB or more");
  }
  return static_cast<long>(size);
}

struct stat status_of(int fd, const std::string& name) {
  struct stat status {};
  if (fstat(fd, &status) != 0) {
    throw failed("cannot read " + name);
  }
  if (S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    throw failed("cannot read " + name);
  }
  return status;
}

}  // namespace

LineIo::LineIo() {
  if (InitLineIO() != 0) {
    throw std::bad_alloc();
  }
}

LineIo::~LineIo() {
  TerminateLineIO();
}

MailFile::MailFile(const std::string& path, const SpoolProgress& progress)
    : name_(path == "-" ? "standard input" : path) {
  const bool standard_input = path == "-";
  const FileDescriptor opened(standard_input
                                  ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                  : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!opened) {
    throw failed("cannot read " + name_);
  }
  const auto status = status_of(opened.get(), name_);
  // A file that standard input was opened on may not open a second time.
  // Nor does every file know its size: those of /proc have none.
  const bool in_place = S_ISREG(status.st_mode) && status.st_size > 0 &&
                        open_both(standard_input ? "/dev/stdin" : path);
  if (!in_place) {
    spool(opened.get(), progress);
    return;
  }
  size_ = checked_size(status.st_size, name_);
  const off_t begin = standard_input ? ::lseek(opened.get(), 0, SEEK_CUR) : 0;
  begin_ = static_cast<long>(std::clamp<off_t>(begin, 0, size_));
}

MailFile::~MailFile() {
  fileclose(handle_);
}

bool MailFile::open_both(const std::string& path) {
  std::string name = path;
  handle_ = fileopen(name.data(), 0, 0);
  stream_.reset(std::fopen(name.c_str(), "re"));
  return handle_ >= 0 && stream_ != nullptr;
}

void MailFile::spool(int from, const SpoolProgress& progress) {
  std::string path = temporary_folder() + "/configapi-XXXXXX";
  const FileDescriptor to(mkostemp(path.data(), O_CLOEXEC));
  if (!to) {
    throw failed("cannot make a temporary file in " + temporary_folder());
  }
  const bool both = open_both(path);
  ::unlink(path.c_str());
  if (!both) {
    throw failed("cannot open the temporary file " + path);
  }
  std::vector<char> block(kBlock);
  off_t size = 0;
  for (;;) {
    const ssize_t got = ::read(from, block.data(), block.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      throw failed("cannot read " + name_);
    }
    if (got == 0) {
      break;
    }
    write_all(to.get(), block.data(), static_cast<std::size_t>(got));
    size += got;
    size_ = checked_size(size, name_);
    progress(size_);
  }
}

}  // namespace configapi::tool
