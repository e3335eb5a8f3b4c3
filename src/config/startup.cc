#include <configapi/internals.h>

extern "C" {

void configapi_init() {
  Init822Parser();
}

void configapi_fini() {
  Terminate822Parser();
}

}  // extern "C"

namespace configapi {
namespace {

// The loader constructs it when the library enters a process and destroys it
// when the library leaves or the process ends. A library is constructed before
// the program that needs it and destroyed after it, so that even the host's
// own static objects find the locks.
struct Startup {
  Startup() noexcept { configapi_init(); }
  ~Startup() { configapi_fini(); }
  Startup(const Startup&) = delete;
  Startup& operator=(const Startup&) = delete;
  Startup(Startup&&) = delete;
  Startup& operator=(Startup&&) = delete;
};

const Startup startup;

}  // namespace
}  // namespace configapi
