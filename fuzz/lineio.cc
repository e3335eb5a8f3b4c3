// A state machine of line I/O calls on a real file, against a model that is
// nothing but the file's bytes and a position.
//
// Input: the mode, the file's content as runs, then one call after the other.

#include <configapi/lineio.h>

#include <algorithm>
#include <string>

#include "fuzz/target.h"

namespace {

using fuzz::require;

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

struct Model {
  std::string bytes;
  std::size_t pos;
  int handle;

  [[nodiscard]] std::string_view rest() const {
    return std::string_view(bytes).substr(std::min(pos, bytes.size()));
  }
  [[nodiscard]] bool takes(std::size_t size) const {
    return bytes.size() + size < 3 * kMaxContent;
  }
  void write(std::string_view text) {
    if (!text.empty()) {
      bytes.resize(std::max(bytes.size(), pos + text.size()));
      bytes.replace(pos, text.size(), text);
      pos += text.size();
    }
  }
};

void check_line(Model* model) {
  char* line = nullptr;
  const int result = getline(model->handle, &line);
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
  require(inch(model->handle) ==
          (rest.empty() ? -1 : static_cast<unsigned char>(rest.front())));
  model->pos += rest.empty() ? 0 : 1;
}

void check_move(Model* model, Input* input) {
  const std::size_t offset = input->number() % kMaxContent;
  const bool backwards = input->byte() == 0;
  const long wanted = backwards ? -1 : static_cast<long>(offset);
  require(setfpos(model->handle, wanted) == wanted);
  model->pos = backwards ? model->pos : offset;
}

void check_text(Model* model, Input* input) {
  std::string text(input->number() % 9000, 't');
  if (model->takes(text.size())) {
    require(putline(model->handle, text.data()) == 1);
    model->write(text);
  }
}

void check_put_byte(Model* model, Input* input) {
  const auto byte = static_cast<char>(input->byte());
  // In runs, as a buffer takes thousands of them.
  std::size_t left = input->byte() * 20U + 1;
  for (; left > 0 && model->takes(1); --left) {
    require(outch(byte, model->handle) == 1);
    model->write({&byte, 1});
  }
}

void check_call(bool reads, Model* model, Input* input) {
  switch (input->byte() % 8) {
    case 0:
      return check_move(model, input);
    case 1:
    case 2:
      uninch('x', model->handle);
      model->pos -= model->pos > 0 ? 1 : 0;
      return;
    case 3:
    case 4:
      return reads ? check_byte(model) : check_put_byte(model, input);
    case 5:
      // Many in a row, to come to the edges of the blocks.
      for (auto left = reads ? input->number() % 5000 : 0; left > 0; --left) {
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
  Input input{data, data + size};
  const unsigned mode = input.byte();
  const bool reads = mode % 2 == 0;
  const std::string bytes = runs(&input);
  fuzz::MemoryFile file(bytes);
  require(InitLineIO() == 0);
  const int handle =
      fileopen(file.path(), reads ? 0 : 2, mode % 4 == 3 ? 1 : 0);
  require(handle != -1);
  Model model{bytes, 0, handle};
  while (input.at != input.end) {
    check_call(reads, &model, &input);
    require(getfpos(handle) == static_cast<long>(model.pos));
  }
  require(fileclose(handle) == 1);
  require(file.content() == model.bytes);
  TerminateLineIO();
  return 0;
}
