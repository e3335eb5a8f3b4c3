// A message file or mailbox, open for both of the library's ways to read it:
// headers through a handle of the line I/O, bodies through a stream.

#ifndef CONFIGAPI_TOOLS_MAIL_FILE_H_
#define CONFIGAPI_TOOLS_MAIL_FILE_H_

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace configapi::tool {

// The pool of open files, for as long as there are any. One at a time.
class LineIo {
 public:
  LineIo();
  ~LineIo();
  LineIo(const LineIo&) = delete;
  LineIo& operator=(const LineIo&) = delete;
  LineIo(LineIo&&) = delete;
  LineIo& operator=(LineIo&&) = delete;
};

// Called now and then with the number of bytes that have been copied.
using SpoolProgress = std::function<void(long)>;

// REQUIRES: a LineIo that outlives it.
class MailFile {
 public:
  // Opens a file; "-" is standard input, from where it stands. What cannot be
  // positioned, a pipe say, is first copied to a file without a name, in
  // bounded memory. Throws a Failure (kFile).
  MailFile(const std::string& path, const SpoolProgress& progress);
  ~MailFile();
  MailFile(const MailFile&) = delete;
  MailFile& operator=(const MailFile&) = delete;
  MailFile(MailFile&&) = delete;
  MailFile& operator=(MailFile&&) = delete;

  // For messages: "standard input" for "-".
  [[nodiscard]] const std::string& name() const { return name_; }

  [[nodiscard]] int handle() const { return handle_; }
  [[nodiscard]] std::FILE* stream() const { return stream_.get(); }

  // Where reading begins, and the file's size. Handle and stream each have a
  // position of their own, in no particular place.
  [[nodiscard]] long begin() const { return begin_; }
  [[nodiscard]] long size() const { return size_; }

 private:
  struct Close {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };

  bool open_both(const std::string& path);
  void spool(int from, const SpoolProgress& progress);

  std::string name_;
  int handle_ = -1;
  std::unique_ptr<std::FILE, Close> stream_;
  long begin_ = 0;
  long size_ = 0;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_MAIL_FILE_H_
