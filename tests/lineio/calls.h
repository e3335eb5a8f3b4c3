// The calls of one family on one file, so that a test walks them all.

#ifndef CONFIGAPI_TESTS_LINEIO_CALLS_H_
#define CONFIGAPI_TESTS_LINEIO_CALLS_H_

#include <configapi/lineio.h>

#include <functional>

namespace test {

struct Calls {
  std::function<int(char**)> line;
  std::function<int()> byte;
  std::function<void()> back;
  std::function<int(char*)> text;
  std::function<int(int)> put;
  std::function<long(long)> move;
  std::function<long()> pos;
  std::function<int()> close;
  int fd;
};

inline Calls by_handle(int handle) {
  return {[=](char** line) { return getline(handle, line); },
          [=] { return inch(handle); },
          [=] { uninch('x', handle); },
          [=](char* text) { return putline(handle, text); },
          [=](int c) { return outch(c, handle); },
          [=](long offset) { return setfpos(handle, offset); },
          [=] { return getfpos(handle); },
          [=] { return fileclose(handle); },
          handle};
}

inline Calls by_record(OBX_FILE* file) {
  return {[=](char** line) { return GetLine(file, line); },
          [=] { return InCh(file); },
          [=] { UninCh(file, 'x'); },
          [=](char* text) { return PutLine(file, text); },
          [=](int c) { return OutCh(file, c); },
          [=](long offset) { return SetFilePos(file, offset); },
          [=] { return GetFilePos(file); },
          [=] { return FileClose(file); },
          file != nullptr ? file->fd : -1};
}

// A file by its handle or by its record, whose output waits if it is to.
inline Calls open_calls(bool record, bool reads, bool buffered, char* path) {
  const int flags = reads ? 0 : 2;
  if (!record) {
    return by_handle(fileopen(path, flags, buffered ? 1 : 0));
  }
  OBX_FILE* file = FileOpen(path, flags);
  if (file != nullptr) {
    file->buffered = buffered ? 1 : 0;
  }
  return by_record(file);
}

}  // namespace test

#endif  // CONFIGAPI_TESTS_LINEIO_CALLS_H_
