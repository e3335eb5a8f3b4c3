#include <configapi/host.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "base/heap_text.h"
#include "lineio/file_object.h"

namespace configapi {
namespace {

constexpr std::size_t kBlock = LINEIO_BUFFER_SIZE;
constexpr std::size_t kLine = LINEIO_LINE_SIZE;
constexpr int kBlockCount = LINEIO_BUFFER_SIZE;  // as OBX_FILE counts
constexpr int kErrorLevel = 1;

// Logging may do anything to errno, which is the caller's to look at.
void report(const char* text) {
  const int cause = errno;
  LogMessage(kErrorLevel, appName, text);
  errno = cause;
}

// Counts bytes in the logical position. Past 2 GiB a 32-bit one wraps, which
// unsigned sums do in a defined way.
void advance(OBX_FILE* file, std::size_t bytes) {
  file->pos = static_cast<long>(static_cast<unsigned long>(file->pos) + bytes);
}

char* end_of_block(const OBX_FILE* file) {
  return file->ioBuf + file->count;
}

std::size_t offset_in_block(const OBX_FILE* file) {
  return reinterpret_cast<std::uintptr_t>(file->cursor) -
         reinterpret_cast<std::uintptr_t>(file->ioBuf);
}

// Whether a byte can be delivered from the block. Not while none is loaded: a
// null cursor is far from any buffer. Nor from a file that is written: its
// buffer holds output.
bool has_unread(const OBX_FILE* file) {
  return offset_in_block(file) < static_cast<std::size_t>(file->count) &&
         file->writeMode == 0;
}

std::size_t unread(const OBX_FILE* file) {
  return has_unread(file)
             ? static_cast<std::size_t>(file->count) - offset_in_block(file)
             : 0;
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

// Length of a line with its line feed, or 0 when that is not among the bytes.
std::size_t line_length(const char* from, std::size_t size) {
  const void* feed = std::memchr(from, '\n', size);
  return feed == nullptr
             ? 0
             : static_cast<std::size_t>(static_cast<const char*>(feed) - from) +
                   1;
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
    report("ReadFile failed.");
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
        report("getline: ReadFile failed.");
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

// Copies a line of at most `size` bytes to where LINEIO_LINE_SIZE bytes fit.
// Returns its length, or 0 when its end was not found.
#ifdef __SSE2__
// A search and a copy in one cost less than one after the other while lines are
// short. Only whole vectors are looked at, and what stands behind the line in
// the last of them is copied, too.
inline std::size_t copy_line(char* to, const char* from, std::size_t size) {
  constexpr std::size_t kVector = sizeof(__m128i);
  constexpr std::size_t kShortLine = 128;
  const __m128i feeds = _mm_set1_epi8('\n');
  size = std::min(size, kShortLine);
  for (std::size_t at = 0; at + kVector <= size; at += kVector) {
    __m128i bytes;
    std::memcpy(&bytes, from + at, kVector);
    std::memcpy(to + at, &bytes, kVector);
    const auto hits =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, feeds)));
    if (hits != 0) {
      return at + static_cast<std::size_t>(std::countr_zero(hits)) + 1;
    }
  }
  return 0;
}
#else
inline std::size_t copy_line(char* to, const char* from, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t length = line_length(from, std::min(size, kLine));
  std::memcpy(to, from, length);
  return length;
}
#endif

// The ordinary case: the line lies whole in the block. Returns its length, or
// 0 when it was not found there.
inline std::size_t take_line_in_block(OBX_FILE* file) {
  const std::size_t length =
      copy_line(file->lineBuf, file->cursor, unread(file));
  if (length > 0) {
    file->cursor += length;
    file->lineBuf[length] = '\0';
    advance(file, length);
  }
  return length;
}

// The length of the next line, which is in lineBuf then; 0 at the end of the
// file, or -1.
int next_line(OBX_FILE* file) {
  const std::size_t length = take_line_in_block(file);
  return length > 0 ? static_cast<int>(length) : gather_line(file);
}

int take_byte(OBX_FILE* file) {
  advance(file, 1);
  return static_cast<unsigned char>(*file->cursor++);
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

bool writes_behind(const OBX_FILE* file) {
  return file->buffered != 0 && file->writeMode != 0;
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

// Whether a byte fits into the buffer as it stands.
bool has_room(const OBX_FILE* file) {
  return writes_behind(file) && file->cursor != nullptr && file->count > 0;
}

void put_byte(OBX_FILE* file, char byte) {
  *file->cursor++ = byte;
  --file->count;
  advance(file, 1);
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
  if (write_all(file->fd, bytes.data(), bytes.size()) < bytes.size()) {
    return -1;
  }
  advance(file, bytes.size());
  return 1;
}

void log_opened(const char* call, const char* name, int fd) {
  if (logs_file_io()) {
    std::array<char, 256> text{};
    (void)std::snprintf(text.data(), text.size(), "%s: %s, FileHandle #%d",
                        call, name, fd);
    report(text.data());
  }
}

void report_open_failure(const char* name) {
  std::array<char, 512> text{};
  (void)std::snprintf(text.data(), text.size(),
                      "CreateFile failed: %s, error %ld", name,
                      static_cast<long>(errno));
  report(text.data());
}

bool add_to_pool(OBX_FILE* file) {
  if (AddToFilePool(thread_file_pool, file) == 0) {
    return true;
  }
  DelOBX_FILE(&file);
  return false;
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

int read_byte(OBX_FILE* file) {
  const bool used_up =
      file->cursor == nullptr || file->cursor == file->ioBuf + kBlock;
  if (!readable(file) || (used_up && !load_block(file))) {
    report("inch: ReadFile failed.");
    return -1;
  }
  return file->cursor != end_of_block(file) ? take_byte(file) : -1;
}

void unread_byte(OBX_FILE* file) {
  if (file->pos == 0 || !write_waiting(file)) {
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

int write_text(OBX_FILE* file, std::string_view text) {
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
    report("putline: WriteFile failed.");
    return -1;
  }
  return 1;
}

int write_byte(OBX_FILE* file, char byte) {
  if (!writes_behind(file)) {
    return write_at_once(file, {&byte, 1});
  }
  if (file->cursor == nullptr) {
    start_buffer(file);
  } else if (file->count == 0 && !write_block(file, 0)) {
    report("outch: WriteFile failed.");
    return -1;
  }
  put_byte(file, byte);
  return 1;
}

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

long seek(OBX_FILE* file, long offset) {
  if (!write_waiting(file) || lseek(file->fd, offset, SEEK_SET) == -1) {
    report("setfpos: Internal file I/O error");
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
    return nullptr;
  }
  constexpr mode_t kOwnerOnly = 0600;
  const int fd = open(name, access | O_CLOEXEC, kOwnerOnly);
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

bool logs_file_io() {
  std::array<char, 10> value{};
  GetPrivateProfileString("Debug", "LogFileIO", "FALSE", value.data(),
                          value.size(), "qxmta.ini");
  return strcasecmp(value.data(), "TRUE") == 0;
}

}  // namespace configapi

using configapi::find_file;

extern "C" int fileopen(char* name, int flags, int buffered) {
  constexpr int kWriteFlag = 2;
  const int access = (flags & kWriteFlag) != 0 ? O_WRONLY : O_RDONLY;
  configapi::OpenFault fault{};
  OBX_FILE* file = configapi::open_file(name, access, buffered != 0, &fault);
  if (file == nullptr) {
    if (fault == configapi::OpenFault::kOpen) {
      configapi::report_open_failure(name);
    }
    return -1;
  }
  const int handle = file->fd;
  if (!configapi::add_to_pool(file)) {
    return -1;
  }
  configapi::log_opened("fileopen", name, handle);
  return handle;
}

extern "C" int filecreate(char* name, int /*flags*/, int buffered) {
  configapi::OpenFault fault{};
  OBX_FILE* file =
      configapi::open_file(name, O_WRONLY | O_CREAT, buffered != 0, &fault);
  if (file == nullptr) {
    if (fault == configapi::OpenFault::kOpen) {
      configapi::report("open failed");
    } else if (fault == configapi::OpenFault::kMemory) {
      configapi::report("Unable to allocate OBX_FILE object");
    }
    return -1;
  }
  const int handle = file->fd;
  if (!configapi::add_to_pool(file)) {
    configapi::report("Unable to insert OBX_FILE object to memory pool");
    return -1;
  }
  configapi::log_opened("filecreate", name, handle);
  return handle;
}

extern "C" int fileclose(int handle) {
  OBX_FILE* file = find_file(handle);
  if (file == nullptr) {
    return 0;
  }
  if (!configapi::write_waiting(file)) {
    const int cause = errno;
    configapi::report("fileclose: WriteFile failed.");
    std::printf("%d\n", cause);
  }
  if (configapi::logs_file_io()) {
    std::array<char, 256> text{};
    (void)std::snprintf(text.data(), text.size(), "fileclose: FileHandle #%d",
                        handle);
    configapi::report(text.data());
  }
  DelFromFilePool(thread_file_pool, handle);
  return 1;
}

// The calls that are made for every line or byte first try what needs no other
// function, and so no stack frame.

namespace {

[[gnu::noinline]] int getline_otherwise(int handle, char** line) {
  OBX_FILE* file = find_file(handle);
  if (line == nullptr || file == nullptr) {
    return -1;
  }
  const int length = configapi::next_line(file);
  if (length <= 0) {
    return length;
  }
  *line = file->lineBuf;
  return 1;
}

[[gnu::noinline]] int inch_otherwise(int handle) {
  OBX_FILE* file = find_file(handle);
  return file != nullptr ? configapi::read_byte(file) : -1;
}

[[gnu::noinline]] int outch_otherwise(int c, int handle) {
  OBX_FILE* file = find_file(handle);
  return file != nullptr ? configapi::write_byte(file, static_cast<char>(c))
                         : -1;
}

}  // namespace

extern "C" int configapi_getline(int handle, char** line) {
  OBX_FILE* file = configapi::find_by_shortcut(handle);
  if (file != nullptr && line != nullptr &&
      configapi::take_line_in_block(file) > 0) {
    *line = file->lineBuf;
    return 1;
  }
  return getline_otherwise(handle, line);
}

CONFIGAPI_BEGIN_C
// The name that hosts were linked with; <stdio.h> declares another getline.
CONFIGAPI_EXPORT int exported_getline(int handle,
                                      char** line) __asm__("getline")
    __attribute__((alias("configapi_getline")));
CONFIGAPI_END_C

// NOLINTNEXTLINE(readability-non-const-parameter): as hosts declare it.
extern "C" int putline(int handle, char* text) {
  OBX_FILE* file = find_file(handle);
  if (text == nullptr || file == nullptr) {
    return -1;
  }
  return configapi::write_text(file, text);
}

extern "C" int inch(int handle) {
  OBX_FILE* file = configapi::find_by_shortcut(handle);
  if (file != nullptr && configapi::has_unread(file)) {
    return configapi::take_byte(file);
  }
  return inch_otherwise(handle);
}

extern "C" void uninch(int /*c*/, int handle) {
  if (OBX_FILE* file = find_file(handle)) {
    configapi::unread_byte(file);
  }
}

extern "C" int outch(int c, int handle) {
  OBX_FILE* file = configapi::find_by_shortcut(handle);
  if (file != nullptr && configapi::has_room(file)) {
    configapi::put_byte(file, static_cast<char>(c));
    return 1;
  }
  return outch_otherwise(c, handle);
}

extern "C" long setfpos(int handle, long offset) {
  OBX_FILE* file = find_file(handle);
  return file != nullptr ? configapi::seek(file, offset) : -1;
}

extern "C" long getfpos(int handle) {
  const OBX_FILE* file = find_file(handle);
  return file != nullptr ? file->pos : -1;
}
