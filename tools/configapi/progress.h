// A line on the terminal that says how far a long work has come.

#ifndef CONFIGAPI_TOOLS_PROGRESS_H_
#define CONFIGAPI_TOOLS_PROGRESS_H_

#include <chrono>
#include <string>

#include "output.h"

namespace configapi::tool {

// Shows itself where standard error is a terminal, and nowhere else; makes
// room for what the output prints, and is gone when the work is done.
class Progress {
 public:
  // REQUIRES: the output outlives it, and there is one at a time.
  explicit Progress(Output* output);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  Progress(Progress&&) = delete;
  Progress& operator=(Progress&&) = delete;

  // Whether it is time to show something. The text for it need not be made
  // otherwise.
  [[nodiscard]] bool is_due() const;
  void show(const std::string& text);

 private:
  using Clock = std::chrono::steady_clock;

  void clear();

  Output* output_;
  bool enabled_;
  bool shown_ = false;
  Clock::time_point due_ = Clock::now();
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_PROGRESS_H_
