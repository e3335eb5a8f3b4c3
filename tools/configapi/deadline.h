// A bound on a wait that has none of its own.

#ifndef CONFIGAPI_TOOLS_DEADLINE_H_
#define CONFIGAPI_TOOLS_DEADLINE_H_

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "failure.h"
#include "output.h"

namespace configapi::tool {

// While it lives, the process has so many seconds: then it reports the failure
// and ends with the failure's code. Name resolution and connecting wait as
// long as the system lets them, a bind six minutes, and none can be called
// off; a command-line tool may simply end. It watches from a thread of its
// own, as the library holds signals back while it connects.
class Deadline {
 public:
  Deadline(unsigned seconds, const Failure& failure, const Output& output);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;
  Deadline(Deadline&&) = delete;
  Deadline& operator=(Deadline&&) = delete;

 private:
  void watch(unsigned seconds);

  std::string words_;
  int code_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool is_met_ = false;
  std::thread thread_;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_DEADLINE_H_
