// The calls on records that the caller holds. As in lineio.cc, those that are
// made for every line or byte first try what needs no other function.

#include <fcntl.h>

#include "lineio/block.h"
#include "lineio/file_object.h"

using configapi::OpenFault;

extern "C" OBX_FILE* FileOpen(char* name, int flags) {
  constexpr int kWriteFlag = 2;
  const int access = (flags & kWriteFlag) != 0 ? O_WRONLY : O_RDONLY;
  OpenFault fault{};
  OBX_FILE* file = configapi::open_file(name, access, false, &fault);
  if (file != nullptr) {
    configapi::log_opened("fileopen", file);
  } else if (fault == OpenFault::kOpen) {
    configapi::log_file_io("CreateFile failed.");
  } else if (fault == OpenFault::kMemory) {
    // Spelt so for as long as administrators have looked for it in their logs.
    configapi::log_file_io("Unable to allocate new file objcet.");
  }
  return file;
}

extern "C" OBX_FILE* FileCreate(char* name) {
  OpenFault fault{};
  OBX_FILE* file =
      configapi::open_file(name, O_WRONLY | O_CREAT, false, &fault);
  if (file != nullptr) {
    configapi::log_opened("filecreate", file);
  }
  return file;
}

extern "C" int FileClose(OBX_FILE* file) {
  (void)configapi::write_rest(file);
  DelOBX_FILE(&file);
  return 1;
}

extern "C" int GetLine(OBX_FILE* file, char** line) {
  if (file != nullptr && line != nullptr &&
      configapi::take_line_in_block(file) > 0) {
    *line = file->lineBuf;
    return 1;
  }
  return configapi::read_line(file, line);
}

// NOLINTNEXTLINE(readability-non-const-parameter): as hosts declare it.
extern "C" int PutLine(OBX_FILE* file, char* text) {
  return configapi::write_text(file, text);
}

extern "C" int InCh(OBX_FILE* file) {
  if (file != nullptr && configapi::has_unread(file)) {
    return configapi::take_byte(file);
  }
  return configapi::read_byte(file);
}

extern "C" void UninCh(OBX_FILE* file, int /*c*/) {
  configapi::unread_byte(file);
}

extern "C" int OutCh(OBX_FILE* file, int c) {
  if (file != nullptr && configapi::has_room(file)) {
    configapi::put_byte(file, static_cast<char>(c));
    return 1;
  }
  return configapi::write_byte(file, static_cast<char>(c));
}

// NOLINTNEXTLINE(readability-non-const-parameter): as hosts declare it.
extern "C" long GetFilePos(OBX_FILE* file) {
  return file != nullptr ? file->pos : -1;
}

extern "C" long SetFilePos(OBX_FILE* file, long offset) {
  return configapi::seek(file, offset);
}
