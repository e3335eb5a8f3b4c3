// A state machine of line I/O calls on a real file, against a model that is
// nothing but the file's bytes and a position: calls on handles, on records,
// and those with Windows names, each perhaps while the file fails.
//
// Input: the mode, the file's content as runs, then one call after the other.

#include <configapi/lineio.h>
#include <configapi/winfile.h>
#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <string>

#include "fuzz/target.h"
#include "tests/lineio/calls.h"

namespace {

using fuzz::require;
using test::Calls;

constexpr std::size_t kMaxContent = 20000;

// Zeros when it is used up.
struct Input {
  const std::uint8_t* at;
  const std::uint8_t* end;

  unsigned byte() { return at != end ? *at++ : 0; }
  std::size_t number() {
    const unsigned high = byte();
    return high * 256 + byte();
  }
};

std::string runs(Input* input) {
  std::string bytes;
  for (unsigned left = input->byte() % 64; left > 0; --left) {
    const std::size_t length = input->number() % 5000;
    bytes.append(length, static_cast<char>(input->byte()));
    bytes.push_back(static_cast<char>(input->byte()));
  }
  return bytes.substr(0, kMaxContent);
}

// With Windows names, there are no lines and no buffer.
Calls by_name(intptr_t handle) {
  Calls calls{};
  calls.pos = [=] { return SetFilePointer(handle, 0, nullptr, 1); };
  calls.close = [=] { return CloseHandle(handle); };
  calls.fd = static_cast<int>(handle);
  return calls;
}

struct Model {
  std::string bytes;
  std::size_t pos;
  bool reads;
  Calls calls;
  bool faulty;        // the present call may fail
  std::size_t limit;  // no byte of the file can be written from here on

  [[nodiscard]] std::string_view rest() const {
    return std::string_view(bytes).substr(std::min(pos, bytes.size()));
  }
  [[nodiscard]] bool takes(std::size_t size) const {
    return bytes.size() + size < 3 * kMaxContent;
  }
  void put(std::string_view text) {
    if (!text.empty()) {
      bytes.resize(std::max(bytes.size(), pos + text.size()));
      bytes.replace(pos, text.size(), text);
    }
  }
  void write(std::string_view text) {
    put(text);
    pos += text.size();
  }
  // A text failed of which so many bytes count; the limit let others through.
  void refuse(std::string_view text, std::size_t counted) {
    require(faulty);
    write(text.substr(0, counted));
    put(text.substr(counted, limit > pos ? limit - pos : 0));
  }
};

enum FaultKind : unsigned { kNone, kElsewhere, kClosed, kLimited };

// Lets the file fail for one call: another one stands behind the descriptor
// that takes and gives nothing, the descriptor is closed, or the file may not
// grow beyond some byte near the position.
class Fault {
 public:
  Fault(unsigned kind, Model* model, Input* input)
      : kind_(kind), model_(model), fd_(model->calls.fd) {
    model->faulty = kind != kNone;
    model->limit = 0;
    if (kind == kLimited) {
      model->limit = model->pos + input->number() % 8192;
      model->limit -= std::min<std::size_t>(model->limit, 2000);
      getrlimit(RLIMIT_FSIZE, &old_);
      const rlimit low{model->limit, old_.rlim_max};
      setrlimit(RLIMIT_FSIZE, &low);
    } else if (kind != kNone) {
      saved_ = fcntl(fd_, F_DUPFD_CLOEXEC, 0);
      close(fd_);
    }
    if (kind == kElsewhere) {
      require(model->reads ? open("/", O_RDONLY) == fd_
                           : open("/dev/full", O_WRONLY) == fd_);
    }
  }
  ~Fault() {
    if (kind_ == kLimited) {
      setrlimit(RLIMIT_FSIZE, &old_);
    } else if (kind_ != kNone) {
      dup2(saved_, fd_);
      close(saved_);
    }
    model_->faulty = false;
  }
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;
  Fault(Fault&&) = delete;
  Fault& operator=(Fault&&) = delete;

 private:
  unsigned kind_;
  Model* model_;
  int fd_;
  int saved_ = -1;
  rlimit old_{};
};

void check_line(Model* model) {
  char* line = nullptr;
  const int result = model->calls.line(&line);
  if (result == -1) {
    require(model->faulty && line == nullptr);
    return;
  }
  const std::string_view rest = model->rest();
  const std::size_t feed = std::min(rest.find('\n'), rest.size() - 1);
  const auto length = std::min<std::size_t>(feed + 1, LINEIO_LINE_SIZE);
  require(result == (rest.empty() ? 0 : 1));
  require(rest.empty() ? line == nullptr
                       : std::string_view(line, length + 1) ==
                             std::string(rest.substr(0, length)) + '\0');
  model->pos += length;
}

void check_byte(Model* model) {
  const std::string_view rest = model->rest();
  const int result = model->calls.byte();
  if (result == -1) {
    require(model->faulty || rest.empty());
    return;
  }
  require(!rest.empty() && result == static_cast<unsigned char>(rest.front()));
  ++model->pos;
}

void check_back(Model* model) {
  model->calls.back();
  const auto pos = static_cast<std::size_t>(model->calls.pos());
  require(pos + 1 == model->pos ||
          (pos == model->pos && (model->faulty || pos == 0)));
  model->pos = pos;
}

void check_move(Model* model, Input* input) {
  const std::size_t offset = input->number() % kMaxContent;
  const bool backwards = input->byte() == 0;
  const long wanted = backwards ? -1 : static_cast<long>(offset);
  const long result = model->calls.move(wanted);
  require(result == wanted || (model->faulty && result == -1));
  model->pos = result == -1 ? model->pos : offset;
}

void check_text(Model* model, Input* input) {
  std::string text(input->number() % 9000, 't');
  if (!model->takes(text.size())) {
    return;
  }
  if (model->calls.text(text.data()) == 1) {
    model->write(text);
  } else {
    model->refuse(text,
                  static_cast<std::size_t>(model->calls.pos()) - model->pos);
  }
}

void check_put_byte(Model* model, Input* input) {
  const auto byte = static_cast<char>(input->byte());
  // In runs, as a buffer takes thousands of them.
  std::size_t left = input->byte() * 20U + 1;
  for (; left > 0 && model->takes(1); --left) {
    if (model->calls.put(byte) != 1) {
      return model->refuse({&byte, 1}, 0);
    }
    model->write({&byte, 1});
  }
}

void check_call(unsigned call, Model* model, Input* input) {
  switch (call) {
    case 0:
      return check_move(model, input);
    case 1:
    case 2:
      return check_back(model);
    case 3:
    case 4:
      return model->reads ? check_byte(model) : check_put_byte(model, input);
    case 5:
      // Many in a row, to come to the edges of the blocks.
      for (auto left = model->reads ? input->number() % 5000 : 0; left > 0;
           --left) {
        check_byte(model);
      }
      return;
    default:
      return model->reads ? check_line(model) : check_text(model, input);
  }
}

void check_read_file(Model* model, Input* input) {
  std::string buffer(input->number() % 9000, 'r');
  unsigned long done = 1;
  const int result =
      ReadFile(model->calls.fd, buffer.data(), buffer.size(), &done, nullptr);
  require(result == 1 ? model->reads : model->faulty || !model->reads);
  require(done ==
          (result == 1 ? std::min(buffer.size(), model->rest().size()) : 0));
  require(model->rest().substr(0, done) == buffer.substr(0, done));
  model->pos += done;
}

void check_write_file(Model* model, Input* input) {
  std::string text(input->number() % 9000, 'w');
  if (!model->takes(text.size())) {
    return;
  }
  unsigned long done = 1;
  const int result =
      WriteFile(model->calls.fd, text.data(), text.size(), &done, nullptr);
  require(model->faulty || (result == 1) == !model->reads);
  require(result == 1 ? model->faulty || done == text.size() : done == 0);
  model->write(text.substr(0, done));
}

void check_pointer(Model* model, Input* input) {
  const auto method = static_cast<int>(input->byte() % 4);
  const auto distance = static_cast<long>(input->number() % kMaxContent) -
                        static_cast<long>(input->number() % kMaxContent);
  const std::size_t base[] = {0, model->pos, model->bytes.size(), 0};
  const long offset = static_cast<long>(base[method]) + distance;
  const long result =
      SetFilePointer(model->calls.fd, distance, nullptr, method);
  const bool possible = method != 3 && offset >= 0;
  require(result == -1 ? model->faulty || !possible
                       : possible && result == offset);
  model->pos = static_cast<std::size_t>(
      result == -1 ? static_cast<long>(model->pos) : result);
}

void check_windows_call(unsigned call, Model* model, Input* input) {
  switch (call) {
    case 0:
      return check_pointer(model, input);
    case 1: {
      const unsigned long size = GetFileSize(model->calls.fd, nullptr);
      return require(size == model->bytes.size() ||
                     (model->faulty && size == 0xFFFFFFFF));
    }
    case 2:
      return require((SetEndOfFile(model->calls.fd) == 1) == !model->reads ||
                     model->faulty);
    case 3:
    case 4:
      return check_read_file(model, input);
    default:
      return check_write_file(model, input);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  (void)std::signal(SIGXFSZ, SIG_IGN);
  Input input{data, data + size};
  const unsigned mode = input.byte();
  const bool reads = mode % 2 == 0;
  const unsigned family = mode / 4 % 3;  // handles, records, Windows names
  const bool by_names = family == 2;
  const std::string bytes = runs(&input);
  fuzz::MemoryFile file(bytes);
  require(InitLineIO() == 0);
  const Calls calls = by_names ? by_name(CreateFile(file.path(), reads ? 1 : 2))
                               : test::open_calls(family == 1, reads,
                                                  mode % 4 == 3, file.path());
  Model model{bytes, 0, reads, calls, false, 0};
  require(model.calls.fd != -1);
  while (input.at != input.end) {
    const unsigned byte = input.byte();
    const unsigned call = byte % 8;
    const bool transfers = call > 2;
    {
      // A file that is another one would be moved.
      const unsigned kind = byte / 64;
      const Fault fault(kind == kElsewhere && !transfers ? kClosed : kind,
                        &model, &input);
      by_names ? check_windows_call(call, &model, &input)
               : check_call(call, &model, &input);
    }
    require(model.calls.pos() == static_cast<long>(model.pos));
  }
  require(model.calls.close() == 1);
  require(file.content() == model.bytes);
  TerminateLineIO();
  return 0;
}
