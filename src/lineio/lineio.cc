#include <configapi/host.h>
#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "lineio/block.h"
#include "lineio/file_object.h"

namespace configapi {
namespace {

void log_opened(const char* call, const char* name, int fd) {
  if (is_file_io_logged()) {
    std::array<char, 256> text{};
    (void)std::snprintf(text.data(), text.size(), "%s: %s, FileHandle #%d",
                        call, name, fd);
    log_file_io(text.data());
  }
}

void log_open_failure(const char* name) {
  std::array<char, 512> text{};
  (void)std::snprintf(text.data(), text.size(),
                      "CreateFile failed: %s, error %ld", name,
                      static_cast<long>(errno));
  log_file_io(text.data());
}

bool add_to_pool(OBX_FILE* file) {
  if (AddToFilePool(thread_file_pool, file) == 0) {
    return true;
  }
  DelOBX_FILE(&file);
  return false;
}

}  // namespace
}  // namespace configapi

using configapi::find_file;

extern "C" int fileopen(char* name, int flags, int buffered) {
  constexpr int kWriteFlag = 2;
  const int access = (flags & kWriteFlag) != 0 ? O_WRONLY : O_RDONLY;
  configapi::OpenFault fault{};
  OBX_FILE* file = configapi::open_file(name, access, buffered != 0, &fault);
  if (file == nullptr) {
    if (fault == configapi::OpenFault::kOpen) {
      configapi::log_open_failure(name);
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
      configapi::log_file_io("open failed");
    } else if (fault == configapi::OpenFault::kMemory) {
      configapi::log_file_io("Unable to allocate OBX_FILE object");
    }
    return -1;
  }
  const int handle = file->fd;
  if (!configapi::add_to_pool(file)) {
    configapi::log_file_io("Unable to insert OBX_FILE object to memory pool");
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
    configapi::log_file_io("fileclose: WriteFile failed.");
    std::printf("%d\n", cause);
  }
  if (configapi::is_file_io_logged()) {
    std::array<char, 256> text{};
    (void)std::snprintf(text.data(), text.size(), "fileclose: FileHandle #%d",
                        handle);
    configapi::log_file_io(text.data());
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
  std::string_view bytes;
  const int result = configapi::read_line(file, &bytes);
  if (result == 1) {
    *line = file->lineBuf;
  }
  return result;
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
