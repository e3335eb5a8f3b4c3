// What a soak run has to show, and how it is judged.

#ifndef CONFIGAPI_TESTS_SOAK_VERDICT_H_
#define CONFIGAPI_TESTS_SOAK_VERDICT_H_

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace soak {

// Seconds since the machine's start, as /proc/uptime has them.
double now();

struct Span {
  double begin;
  double end;
};

// Calls that failed or took longer than an answer may, of all threads.
class Troubles {
 public:
  // The limits on connecting and on answers, in seconds.
  Troubles(double connect, double answer);

  // Runs a call of the library and keeps its time if it was no good.
  template <typename Call>
  bool good(Call call) {
    const double begin = now();
    const bool result = call();
    const double end = now();
    if (!result || end - begin > answer_) {
      add({begin, end});
    }
    return result;
  }

  [[nodiscard]] double limit() const { return connect_ + answer_; }
  [[nodiscard]] std::size_t count() const { return calls_.size(); }
  [[nodiscard]] double longest() const;

  // The longest time between a fault's end and that of a call in trouble, each
  // call being measured by the last fault before its end; infinite for a call
  // that no fault preceded. 0 without any.
  [[nodiscard]] double outlived(const std::vector<Span>& faults) const;

 private:
  void add(Span call);

  double connect_;
  double answer_;
  std::mutex lock_;
  std::vector<Span> calls_;  // guarded by lock_ while threads run
};

// What the process holds.
struct Holdings {
  long resident;  // kB
  long descriptors;
};
Holdings holdings();

// Prints lines of figures, and notices promises that are not kept.
class Verdict {
 public:
  // A promise, with its figure and what that may be.
  void promise(const char* text, double figure, double at_most);
  [[nodiscard]] bool kept() const { return kept_; }

 private:
  bool kept_ = true;
};

}  // namespace soak

#endif  // CONFIGAPI_TESTS_SOAK_VERDICT_H_
