#include <configapi/host.h>
#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "lineio/block.h"
#include "lineio/file_object.h"

namespace configapi {
namespace {

void log_open_failure(const char* name) {
  std::array<char, 512> text{};
  (void)std::snprintf(text.data(), text.size(),
                      "CreateFile failed: %s, error %ld", name,
                      static_cast<long>(errno));
  log_file_io(text.data());
}

bool add_to_pool(OBX_FILE* file) {
  if (thread_file_pool == nullptr) {
    errno = EINVAL;  // and not what an earlier call left
  } else if (AddToFilePool(thread_file_pool, file) == 0) {
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
  if (!configapi::add_to_pool(file)) {
    return -1;
  }
  configapi::log_opened("fileopen", file);
  return file->fd;
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
  if (!configapi::add_to_pool(file)) {
    configapi::log_file_io("Unable to insert OBX_FILE object to memory pool");
    return -1;
  }
  configapi::log_opened("filecreate", file);
  return file->fd;
}

extern "C" int fileclose(int handle) {
  OBX_FILE* file = find_file(handle);
  if (file == nullptr) {
    return 0;
  }
  if (const int cause = configapi::write_rest(file)) {
    std::printf("%d\n", cause);
  }
  DelFromFilePool(thread_file_pool, handle);
  return 1;
}

// The calls that are made for every line or byte first try what needs no other
// function, and so no stack frame.

namespace {

[[gnu::noinline]] int getline_otherwise(int handle, char** line) {
  return configapi::read_line(find_file(handle), line);
}

[[gnu::noinline]] int inch_otherwise(int handle) {
  return configapi::read_byte(find_file(handle));
}

[[gnu::noinline]] int outch_otherwise(int c, int handle) {
  return configapi::write_byte(find_file(handle), static_cast<char>(c));
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
  return configapi::write_text(find_file(handle), text);
}

extern "C" int inch(int handle) {
  OBX_FILE* file = configapi::find_by_shortcut(handle);
  if (file != nullptr && configapi::has_unread(file)) {
    return configapi::take_byte(file);
  }
  return inch_otherwise(handle);
}

extern "C" void uninch(int /*c*/, int handle) {
  configapi::unread_byte(find_file(handle));
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
  return configapi::seek(find_file(handle), offset);
}

extern "C" long getfpos(int handle) {
  const OBX_FILE* file = find_file(handle);
  return file != nullptr ? file->pos : -1;
}
