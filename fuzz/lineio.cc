// A state machine of line I/O calls on a real file, against a model that is
// nothing but the file's bytes and a position.
//
// Input: the mode, the file's content as runs, then one call after the other.

#include <configapi/lineio.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kMaxContent = 20000;

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : data_(data), left_(size) {}

  [[nodiscard]] bool empty() const { return left_ == 0; }
  unsigned byte() {
    if (left_ == 0) {
      return 0;
    }
    --left_;
    return *data_++;
  }
  std::size_t number() { return byte() * 256U + byte(); }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

void expect(bool true_thing, const char* what) {
  if (!true_thing) {
    std::fprintf(stderr, "not so: %s\n", what);
    std::abort();
  }
}

// One file for all inputs, removed at once but for its name under /proc.
class Scratch {
 public:
  Scratch() {
    char name[] = "/tmp/configapi-fuzz-XXXXXX";
    fd_ = mkstemp(name);
    expect(fd_ != -1, "there is room for a file");
    unlink(name);
    path_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  Scratch(Scratch&&) = delete;
  Scratch& operator=(Scratch&&) = delete;
  ~Scratch() { close(fd_); }

  char* path() { return path_.data(); }
  void fill(std::string_view bytes) const {
    expect(
        ftruncate(fd_, 0) == 0 && pwrite(fd_, bytes.data(), bytes.size(), 0) ==
                                      static_cast<ssize_t>(bytes.size()),
        "the file takes its content");
  }
  [[nodiscard]] std::string content() const {
    std::string bytes(4 * kMaxContent, '\0');
    const ssize_t got = pread(fd_, bytes.data(), bytes.size(), 0);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
  }

 private:
  int fd_ = -1;
  std::string path_;
};

std::string runs(Input* input) {
  std::string bytes;
  for (unsigned left = input->byte() % 64; left > 0; --left) {
    const std::size_t length = input->number() % 5000;
    const auto byte = static_cast<char>(input->byte());
    bytes.append(std::min(length, kMaxContent - bytes.size()), byte);
    if (bytes.size() < kMaxContent) {
      bytes.push_back(static_cast<char>(input->byte()));
    }
  }
  return bytes;
}

struct Model {
  std::string bytes;
  std::size_t pos = 0;
  int handle = -1;

  [[nodiscard]] std::string_view rest() const {
    return std::string_view(bytes).substr(std::min(pos, bytes.size()));
  }
  void write(std::string_view text) {
    if (text.empty()) {
      return;
    }
    bytes.resize(std::max(bytes.size(), pos + text.size()));
    bytes.replace(pos, text.size(), text);
    pos += text.size();
  }
};

void check_line(Model* model) {
  char* line = nullptr;
  const int result = getline(model->handle, &line);
  const std::string_view rest = model->rest();
  if (rest.empty()) {
    expect(result == 0 && line == nullptr, "no line at the end");
    return;
  }
  const std::size_t feed = std::min(rest.find('\n'), rest.size() - 1);
  const auto length = std::min<std::size_t>(feed + 1, LINEIO_LINE_SIZE);
  expect(result == 1, "a line before the end");
  expect(std::string_view(line, length) == rest.substr(0, length), "its bytes");
  expect(line[length] == '\0', "its end");
  model->pos += length;
}

void check_byte(Model* model) {
  const std::string_view rest = model->rest();
  const int expected =
      rest.empty() ? -1 : static_cast<unsigned char>(rest.front());
  expect(inch(model->handle) == expected, "the next byte");
  model->pos += rest.empty() ? 0 : 1;
}

void check_move(Model* model, Input* input) {
  const std::size_t offset = input->number() % kMaxContent;
  const bool backwards = input->byte() == 0;
  const long wanted = backwards ? -1 : static_cast<long>(offset);
  expect(setfpos(model->handle, wanted) == wanted, "where a move leads");
  model->pos = backwards ? model->pos : offset;
}

void check_step_back(Model* model) {
  uninch('x', model->handle);
  model->pos -= model->pos > 0 ? 1 : 0;
}

void check_text(Model* model, Input* input) {
  std::string text(input->number() % 9000, 't');
  if (model->bytes.size() + text.size() < 3 * kMaxContent) {
    expect(putline(model->handle, text.data()) == 1, "a text is written");
    model->write(text);
  }
}

void check_put_byte(Model* model, Input* input) {
  const auto byte = static_cast<char>(input->byte());
  // In runs, as a buffer takes thousands of them.
  for (std::size_t left = input->byte() * 20U + 1; left > 0; --left) {
    if (model->bytes.size() < 3 * kMaxContent) {
      expect(outch(byte, model->handle) == 1, "a byte is written");
      model->write({&byte, 1});
    }
  }
}

void check_call(bool reads, Model* model, Input* input) {
  switch (input->byte() % 8) {
    case 0:
      return check_move(model, input);
    case 1:
    case 2:
      return check_step_back(model);
    case 3:
    case 4:
      return reads ? check_byte(model) : check_put_byte(model, input);
    case 5:
      // Many in a row, to come to the edges of the blocks.
      for (std::size_t left = input->number() % 5000; left > 0 && reads;
           --left) {
        check_byte(model);
      }
      return;
    default:
      return reads ? check_line(model) : check_text(model, input);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static Scratch scratch;
  Input input(data, size);
  const unsigned mode = input.byte();
  const bool reads = mode % 2 == 0;
  const int buffered = mode % 4 == 3 ? 1 : 0;

  expect(InitLineIO() == 0, "the pool starts");
  Model model{runs(&input)};
  scratch.fill(model.bytes);
  model.handle = fileopen(scratch.path(), reads ? 0 : 2, buffered);
  expect(model.handle != -1, "the file opens");
  while (!input.empty()) {
    check_call(reads, &model, &input);
    expect(getfpos(model.handle) == static_cast<long>(model.pos),
           "the position");
  }
  expect(fileclose(model.handle) == 1, "the file closes");
  expect(scratch.content() == model.bytes, "the file's bytes");
  TerminateLineIO();
  return 0;
}
