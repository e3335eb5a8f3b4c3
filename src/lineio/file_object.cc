#include "lineio/file_object.h"

#include <configapi/host.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/heap_text.h"
#include "lineio/block.h"

namespace configapi {
namespace {

constexpr std::size_t kBlock = LINEIO_BUFFER_SIZE;
constexpr std::size_t kLine = LINEIO_LINE_SIZE;
constexpr int kBlockCount = LINEIO_BUFFER_SIZE;  // as OBX_FILE counts

char* end_of_block(const OBX_FILE* file) {
  return file->ioBuf + file->count;
}

// Whether the last read gave all it was asked for, so that more may follow.
bool full_block(const OBX_FILE* file) {
  return file->count == kBlockCount;
}

// Reads the next block into ioBuf. A failure leaves no buffer loaded.
bool load_block(OBX_FILE* file) {
  ssize_t got = 0;
  do {
    got = read(file->fd, file->ioBuf, kBlock);
  } while (got < 0 && errno == EINTR);
  file->cursor = got < 0 ? nullptr : file->ioBuf;
  file->count = got < 0 ? 0 : static_cast<int>(got);
  return got >= 0;
}

// Whether the file may be read; its buffer may hold output otherwise.
bool readable(const OBX_FILE* file) {
  if (file->writeMode != 0) {
    errno = EBADF;
    return false;
  }
  return true;
}

// Takes up to room bytes of the line from the block into `to`. The result is
// their number; *ended tells whether a line feed is the last of them.
std::size_t take_piece(OBX_FILE* file, char* to, std::size_t room,
                       bool* ended) {
  const char* from = file->cursor;
  const std::size_t most =
      std::min(room, static_cast<std::size_t>(end_of_block(file) - from));
  const std::size_t whole = line_length(from, most);
  *ended = whole > 0;
  const std::size_t length = *ended ? whole : most;
  std::memcpy(to, from, length);
  file->cursor += length;
  return length;
}

// Puts the bytes that a failed call gathered back to the end of the block, so
// that the next call begins with them.
void give_back(OBX_FILE* file, std::size_t bytes) {
  if (bytes > 0) {
    file->count = kBlockCount;
    file->cursor = file->ioBuf + kBlock - bytes;
    std::memcpy(file->cursor, file->lineBuf, bytes);
  }
}

// Gathers a line in lineBuf, block by block. The result is its length, 0 at
// the end of the file, or -1.
int gather_line(OBX_FILE* file) {
  if (!readable(file) || (file->cursor == nullptr && !load_block(file))) {
    log_file_io("ReadFile failed.");
    return -1;
  }
  std::size_t gathered = 0;
  bool ended = false;
  while (gathered < kLine && !ended) {
    if (file->cursor == end_of_block(file)) {
      if (!full_block(file)) {
        break;
      }
      if (!load_block(file)) {
        give_back(file, gathered);
        log_file_io("getline: ReadFile failed.");
        return -1;
      }
    }
    gathered +=
        take_piece(file, file->lineBuf + gathered, kLine - gathered, &ended);
  }
  file->lineBuf[gathered] = '\0';
  advance(file, gathered);
  return static_cast<int>(gathered);
}

// The length of the next line, which is in lineBuf then; 0 at the end of the
// file, or -1.
int next_line(OBX_FILE* file) {
  const std::size_t length = take_line_in_block(file);
  return length > 0 ? static_cast<int>(length) : gather_line(file);
}

// Writes all bytes, going on after short and interrupted writes. After a
// failure the descriptor is moved back to where it stood, so that whoever tries
// again writes nothing twice. Returns how many bytes stay written: all, none,
// or, where the descriptor cannot move, some.
std::size_t write_all(int fd, const char* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t written = write(fd, bytes + done, size - done);
    if (written > 0) {
      done += static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      const int cause = written == 0 ? EIO : errno;
      if (lseek(fd, -static_cast<off_t>(done), SEEK_CUR) != -1) {
        done = 0;
      }
      errno = cause;
      break;
    }
  }
  return done;
}

void start_buffer(OBX_FILE* file) {
  file->cursor = file->ioBuf;
  file->count = kBlockCount;
}

void put_in_buffer(OBX_FILE* file, std::string_view bytes) {
  std::memcpy(file->cursor, bytes.data(), bytes.size());
  file->cursor += bytes.size();
  file->count -= static_cast<int>(bytes.size());
  advance(file, bytes.size());
}

// Sends the full buffer, whose last `fresh` bytes belong to a text that counts
// only when it is written whole.
bool write_block(OBX_FILE* file, std::size_t fresh) {
  const std::size_t waiting = kBlock - fresh;
  const std::size_t done = write_all(file->fd, file->ioBuf, kBlock);
  if (done == kBlock) {
    start_buffer(file);
    return true;
  }
  const std::size_t kept = waiting - std::min(done, waiting);
  std::memmove(file->ioBuf, file->ioBuf + (waiting - kept), kept);
  file->cursor = file->ioBuf + kept;
  file->count = static_cast<int>(kBlock - kept);
  return false;
}

// Fills the buffer with the head of a text and sends it, and then whole blocks
// of the text from where they lie; the rest waits.
bool write_through(OBX_FILE* file, std::string_view text) {
  const auto head = static_cast<std::size_t>(file->count);
  std::memcpy(file->cursor, text.data(), head);
  if (!write_block(file, head)) {
    return false;
  }
  const off_t offset = lseek(file->fd, 0, SEEK_CUR);
  if (offset != -1) {
    file->pos = static_cast<long>(offset);
  } else {
    advance(file, head);  // a pipe has no offset
  }
  text.remove_prefix(head);
  for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
    if (write_all(file->fd, text.data(), kBlock) < kBlock) {
      return false;
    }
    advance(file, kBlock);
  }
  put_in_buffer(file, text);
  return true;
}

int write_at_once(OBX_FILE* file, std::string_view bytes) {
  if (file->writeMode == 0) {
    errno = EBADF;  // also for an empty text, for which nothing is written
    return -1;
  }
  if (write_all(file->fd, bytes.data(), bytes.size()) < bytes.size()) {
    return -1;
  }
  advance(file, bytes.size());
  return 1;
}

// Writes output that waits; false when it was not all written, errno telling
// why. What was written is taken out of the buffer.
bool write_waiting(OBX_FILE* file) {
  if (!writes_behind(file) || file->cursor == nullptr) {
    return true;
  }
  const std::size_t waiting = kBlock - static_cast<std::size_t>(file->count);
  const std::size_t done = write_all(file->fd, file->ioBuf, waiting);
  std::memmove(file->ioBuf, file->ioBuf + done, waiting - done);
  file->cursor -= done;
  file->count += static_cast<int>(done);
  return done == waiting;
}

// Whether opens, creates and closes are to be logged.
bool is_file_io_logged() {
  std::array<char, 10> value{};
  GetPrivateProfileString("Debug", "LogFileIO", "FALSE", value.data(),
                          value.size(), "qxmta.ini");
  return strcasecmp(value.data(), "TRUE") == 0;
}

}  // namespace

int read_line(OBX_FILE* file, std::string_view* line) {
  const int length = next_line(file);
  if (length <= 0) {
    return length;
  }
  *line = {file->lineBuf, static_cast<std::size_t>(length)};
  return 1;
}

int read_line(OBX_FILE* file, char** line) {
  if (file == nullptr || line == nullptr) {
    return -1;
  }
  const int length = next_line(file);
  if (length <= 0) {
    return length;
  }
  *line = file->lineBuf;
  return 1;
}

int read_byte(OBX_FILE* file) {
  if (file == nullptr) {
    return -1;
  }
  const bool used_up =
      file->cursor == nullptr || file->cursor == file->ioBuf + kBlock;
  if (!readable(file) || (used_up && !load_block(file))) {
    log_file_io("inch: ReadFile failed.");
    return -1;
  }
  return file->cursor != end_of_block(file) ? take_byte(file) : -1;
}

void unread_byte(OBX_FILE* file) {
  if (file == nullptr || file->pos == 0 || !write_waiting(file)) {
    return;
  }
  const bool reading = file->writeMode == 0;
  if (reading && file->cursor != nullptr && file->cursor > file->ioBuf) {
    --file->cursor;
  } else {
    // Before the block that was read, or before where the next one begins.
    const off_t back = reading && file->cursor != nullptr ? file->count + 1 : 1;
    if (lseek(file->fd, -back, SEEK_CUR) == -1) {
      return;
    }
    file->cursor = nullptr;
  }
  advance(file, static_cast<std::size_t>(-1));
}

int write_text(OBX_FILE* file, const char* bytes) {
  if (file == nullptr || bytes == nullptr) {
    return -1;
  }
  const std::string_view text(bytes);
  if (!writes_behind(file)) {
    return write_at_once(file, text);
  }
  if (file->cursor == nullptr) {
    start_buffer(file);
  }
  if (text.size() < static_cast<std::size_t>(file->count)) {
    put_in_buffer(file, text);
    return 1;
  }
  if (!write_through(file, text)) {
    log_file_io("putline: WriteFile failed.");
    return -1;
  }
  return 1;
}

int write_byte(OBX_FILE* file, char byte) {
  if (file == nullptr) {
    return -1;
  }
  if (!writes_behind(file)) {
    return write_at_once(file, {&byte, 1});
  }
  if (file->cursor == nullptr) {
    start_buffer(file);
  } else if (file->count == 0 && !write_block(file, 0)) {
    log_file_io("outch: WriteFile failed.");
    return -1;
  }
  put_byte(file, byte);
  return 1;
}

long seek(OBX_FILE* file, long offset) {
  if (file == nullptr) {
    return -1;
  }
  if (!write_waiting(file) || lseek(file->fd, offset, SEEK_SET) == -1) {
    log_file_io("setfpos: Internal file I/O error");
    return -1;
  }
  file->cursor = nullptr;
  file->pos = offset;
  return offset;
}

OBX_FILE* open_file(const char* name, int access, bool buffered,
                    OpenFault* fault) {
  if (name == nullptr || *name == '\0') {
    *fault = OpenFault::kName;
    errno = ENOENT;
    return nullptr;
  }
  constexpr mode_t kOwnerOnly = 0600;
  int fd = -1;
  do {
    fd = open(name, access | O_CLOEXEC, kOwnerOnly);
  } while (fd == -1 && errno == EINTR);  // a pipe waits for its other end
  if (fd == -1) {
    *fault = OpenFault::kOpen;
    return nullptr;
  }
  HeapText copy = heap_copy(name);
  OBX_FILE* file = copy != nullptr ? NewOBX_FILE() : nullptr;
  if (file == nullptr) {
    close(fd);
    *fault = OpenFault::kMemory;
    return nullptr;
  }
  file->fd = fd;
  file->name = copy.release();
  file->writeMode = (access & O_ACCMODE) == O_RDONLY ? 0 : 1;
  file->buffered = buffered ? 1 : 0;
  return file;
}

void log_file_io(const char* text) {
  constexpr int kErrorLevel = 1;
  const int cause = errno;
  LogMessage(kErrorLevel, appName, text);
  errno = cause;
}

void log_opened(const char* call, const OBX_FILE* file) {
  if (is_file_io_logged()) {
    std::array<char, 256> text{};
    (void)std::snprintf(text.data(), text.size(), "%s: %s, FileHandle #%d",
                        call, file->name, file->fd);
    log_file_io(text.data());
  }
}

int write_rest(OBX_FILE* file) {
  const int cause = write_waiting(file) ? 0 : errno;
  if (cause != 0) {
    log_file_io("fileclose: WriteFile failed.");
  }
  if (is_file_io_logged()) {
    std::array<char, 64> text{};
    (void)std::snprintf(text.data(), text.size(), "fileclose: FileHandle #%d",
                        file->fd);
    log_file_io(text.data());
  }
  return cause;
}

}  // namespace configapi
