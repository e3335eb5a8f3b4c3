// Line I/O: reading and writing files by line and by byte.

#include <configapi/lineio.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "harness.h"

#ifdef CONFIGAPI_BENCH_DOVECOT
#include "dovecot_lines.h"
#endif

namespace {

constexpr std::size_t kLineLength = 44;  // of an ordinary header line
constexpr std::size_t kLines = 20000;
constexpr std::size_t kBlock = LINEIO_BUFFER_SIZE;

// Many lines of one length, in a file that goes with the process.
class LineFile {
 public:
  LineFile() {
    const int fd = mkstemp(path_.data());
    if (fd == -1) {
      std::perror("mkstemp");
      std::exit(2);
    }
    close(fd);
    std::ofstream out(path_, std::ios::binary);
    for (std::size_t i = 0; i < kLines; ++i) {
      out << std::string(kLineLength - 1, static_cast<char>('a' + i % 26))
          << '\n';
    }
  }
  ~LineFile() { unlink(path_.c_str()); }
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;
  LineFile(LineFile&&) = delete;
  LineFile& operator=(LineFile&&) = delete;

  char* path() { return path_.data(); }

 private:
  std::string path_ = "/tmp/configapi-lines-XXXXXX";
};

// Does a step so many times. A step that answers false was at the end of the
// file and has gone back to its beginning.
template <typename Step>
bench::Work repeat(Step step) {
  return [step](std::size_t units) mutable {
    while (units > 0) {
      units -= step() ? 1 : 0;
    }
  };
}

bench::Work our_lines(int handle) {
  return repeat([handle] {
    char* line = nullptr;
    if (getline(handle, &line) == 1) {
      bench::keep(line);
      return true;
    }
    setfpos(handle, 0);
    return false;
  });
}

bench::Work our_bytes(int handle) {
  return repeat([handle] {
    const int byte = inch(handle);
    if (byte != -1) {
      bench::keep(&byte);
      return true;
    }
    setfpos(handle, 0);
    return false;
  });
}

// The library on the link line takes over the name getline; getdelim is the
// same code in the C library.
bench::Work libc_lines(std::FILE* file) {
  return repeat([file, line = static_cast<char*>(nullptr),
                 size = std::size_t{0}]() mutable {
    if (getdelim(&line, &size, '\n', file) > 0) {
      bench::keep(line);
      return true;
    }
    std::rewind(file);
    return false;
  });
}

template <typename Get>
bench::Work libc_bytes(std::FILE* file, Get get) {
  return repeat([file, get] {
    const int byte = get(file);
    if (byte != EOF) {
      bench::keep(&byte);
      return true;
    }
    std::rewind(file);
    return false;
  });
}

// The least that a buffered reader of lines does: find the line feed, copy.
class BareLines {
 public:
  explicit BareLines(const char* path) : fd_(open(path, O_RDONLY)) {}

  bool operator()() {
    const char* feed = find();
    if (feed == nullptr && !refill()) {
      lseek(fd_, 0, SEEK_SET);
      return false;
    }
    feed = feed != nullptr ? feed : find();
    const auto length = static_cast<std::size_t>(feed - next_) + 1;
    std::memcpy(line_.data(), next_, length);
    next_ += length;
    bench::keep(line_.data());
    return true;
  }

 private:
  [[nodiscard]] const char* find() const {
    return static_cast<const char*>(
        std::memchr(next_, '\n', static_cast<std::size_t>(end_ - next_)));
  }
  // Keeps the beginning of a line that the block cut.
  bool refill() {
    const auto left = static_cast<std::size_t>(end_ - next_);
    std::memmove(block_.data(), next_, left);
    const auto got = read(fd_, block_.data() + left, kBlock);
    next_ = block_.data();
    end_ = next_ + left + (got > 0 ? got : 0);
    return got > 0;
  }

  int fd_;
  std::array<char, 2 * kBlock> block_{};
  std::array<char, kBlock> line_{};
  const char* next_ = block_.data();
  const char* end_ = next_;
};

bench::Row line_row(char* path) {
  bench::Row row{"lines",
                 "line",
                 our_lines(fileopen(path, 0, 0)),
                 {{"glibc getline", libc_lines(std::fopen(path, "r"))}},
                 {},
                 {{"glibc getline", 1.0}}};
  row.count_units = kLines;
  // Shared, as the harness copies a row's work.
  row.limit = {
      "memchr+memcpy",
      repeat([bare = std::make_shared<BareLines>(path)] { return (*bare)(); })};
#ifdef CONFIGAPI_BENCH_DOVECOT
  dovecot_start();
  row.peers.push_back({"dovecot", repeat([stream = dovecot_open(path)] {
                         const char* line = dovecot_line(stream);
                         bench::keep(line);
                         if (line == nullptr) {
                           dovecot_rewind(stream);
                         }
                         return line != nullptr;
                       })});
#endif
  return row;
}

bench::Row byte_row(char* path) {
  bench::Row row{
      "inch",
      "byte",
      our_bytes(fileopen(path, 0, 0)),
      {{"getc", libc_bytes(std::fopen(path, "r"),
                           [](std::FILE* file) { return std::getc(file); })}},
      {},
      {}};
  row.peers.push_back(
      {"getc_unlocked", libc_bytes(std::fopen(path, "r"), [](std::FILE* file) {
         return getc_unlocked(file);
       })});
  row.count_units = kLines * kLineLength;
  return row;
}

// Writing, into a device that takes everything at no cost.
bench::Row putline_row() {
  char null_device[] = "/dev/null";
  static std::string line = std::string(kLineLength - 1, 'x') + "\n";
  bench::Row row{
      "putline",
      "line",
      repeat([handle = fileopen(null_device, 2, 1)] {
        return putline(handle, line.data()) == 1;
      }),
      {{"fputs_unlocked", repeat([file = std::fopen(null_device, "w")] {
          return fputs_unlocked(line.c_str(), file) >= 0;
        })}},
      {},
      {}};
  row.count_units = kLines;
  return row;
}

bench::Row outch_row() {
  char null_device[] = "/dev/null";
  bench::Row row{"outch",
                 "byte",
                 repeat([handle = fileopen(null_device, 2, 1)] {
                   return outch('x', handle) == 1;
                 }),
                 {{"putc", repeat([file = std::fopen(null_device, "w")] {
                     return std::putc('x', file) != EOF;
                   })}},
                 {},
                 {}};
  row.count_units = kLines;
  return row;
}

}  // namespace

int main(int argc, char** argv) {
  LineFile file;
  InitLineIO();
  return bench::run(argc, argv,
                    {line_row(file.path()), byte_row(file.path()),
                     putline_row(), outch_row()});
}
